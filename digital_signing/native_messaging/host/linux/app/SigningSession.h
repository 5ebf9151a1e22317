#pragma once

#include "linux/processes/KeyProgram.h"
#include "shared/base/Signing.h"

/** Connects the calls of the signing module to the process for keys, its log and its prompts. */
namespace vorn::signing_session {

/** Has to be called once, before the other functions. */
void begin(const keys::KeyProgram& keys);

/** Whether the process for keys is gone for good. */
bool isOver();

/** signing::selectCertificate, which logs what is wrong with key stores, each fault once. Where nothing fits
 * and a module had to be left alone it throws TechnicalException, with the name of that;
 * RequesterGoneException when the browser has gone meanwhile. */
void findSigner(const jsonxx::Object& userDetails, jsonxx::Object& response);

/** signing::signDocuments, with a person to ask for the key's PIN. When the key's module fails in the midst
 * of it another identity that fits signs, if there is one; otherwise it ends as above. */
void signOrFindAnother(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm, jsonxx::Object& response);

}  // namespace vorn::signing_session
