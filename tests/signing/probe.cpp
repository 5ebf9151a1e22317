// scratch: sign stdin / argv file
#include <fstream>
#include <sstream>
#include <iostream>
#include <chrono>
#include <cstdlib>
#include <log4cplus/initializer.h>
#include <log4cplus/configurator.h>
#include "mac/app/CertificateSelection.h"
#include "shared/Base64.h"
#include "shared/Exceptions.h"
#include "shared/ParserErrors.h"
#include "shared/XMLSigner.h"
static std::string slurp(const char*p){std::ifstream f(p,std::ios::binary);std::stringstream s;s<<f.rdbuf();return s.str();}
int main(int argc,char**argv){
  log4cplus::Initializer init; log4cplus::BasicConfigurator::doConfigure();
  log4cplus::Logger::getRoot().setLogLevel(log4cplus::WARN_LOG_LEVEL);
  auto&s=CertificateSelection::getInstance(); s.keyPem=slurp(argv[1]); s.certificateBase64=slurp(argv[2]);
  while(!s.certificateBase64.empty()&&s.certificateBase64.back()=='\n')s.certificateBase64.pop_back();
  int rc=0; const char*rep=getenv("REP"); int n=rep?atoi(rep):1;
  XMLSigner::getInstance().initialise(XMLSigner::RSA_SHA256);
  for(int i=3;i<argc;i++){ std::string x=slurp(argv[i]); char*t; encodeBase64((const unsigned char*)x.data(),x.size(),&t);
   for(int r=0;r<n;r++){
   auto t0=std::chrono::steady_clock::now(); std::string what="ok";
   try { std::string o=XMLSigner::getInstance().sign(t); unsigned char*d; long l; decodeBase64(o.c_str(),&d,&l); if(!getenv("NOOUT")){std::ofstream(std::string(argv[i])+".signed",std::ios::binary).write((char*)d,l);} free(d);}
   catch(const BaseException&e){what=std::to_string(e.code())+" "+e.message();rc=1;}
   catch(...){auto d=describeParserException(); what="SAX "+(d?*d:std::string("???"));rc=1;}
   std::cerr<<argv[i]<<" "<<std::chrono::duration<double,std::milli>(std::chrono::steady_clock::now()-t0).count()<<" ms "<<what<<"\n";}
   free(t);}
  return rc;}
