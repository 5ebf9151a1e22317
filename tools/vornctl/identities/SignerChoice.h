#pragma once

#include <stdexcept>
#include <string>

#include "vornctl/identities/Identities.h"

namespace vorn::vornctl {

/** No signer, or more than one; the text says what to do. */
class ChoiceError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/**
 * The user for a request, with what `given` leaves open taken from the only identity that can sign and fits
 * it, and `serial` if that is not empty. Throws ChoiceError, and KeyStoreError.
 */
User chooseSigner(User given, const std::string& serial);

/** Whether a serial number as people have it is the one that is shown. */
bool isSerial(const std::string& asked, const std::string& shown);

/** A key identifier as requests name it: without the colons or blanks with which programs show it. */
std::string plainKeyIdentifier(const std::string& text);

}  // namespace vorn::vornctl
