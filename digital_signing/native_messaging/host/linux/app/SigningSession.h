#pragma once

#include "shared/Signing.h"

/** What stands around the module's calls on this system: its log of key stores, and prompts for a PIN. */
namespace vorn::signing_session {

/** Once, before any other call. */
void begin();

/** Logs what is wrong with key stores; each fault once, as the same search is made again and again. */
void logStoreFaults();

/**
 * signing::signDocuments, with a person to ask for the key's PIN. Throws RequesterGoneException when the
 * browser has gone while the person was asked.
 */
void signDocuments(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm, jsonxx::Object& response);

}  // namespace vorn::signing_session
