#include <dlfcn.h>
#include <pkcs11.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

/** Does what the name of its file says. */
CK_RV initialise(void* /*arguments*/) {
  Dl_info self{};
  dladdr(reinterpret_cast<void*>(&initialise), &self);
  const std::string file = self.dli_fname;
  if (file.ends_with("hangs.so")) pause();
  if (file.ends_with("crashes.so")) std::abort();
  return CKR_DEVICE_ERROR;
}

}  // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** functions) {
  static CK_FUNCTION_LIST list{};
  list.C_Initialize = &initialise;
  *functions = &list;
  return CKR_OK;
}
