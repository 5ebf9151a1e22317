#pragma once

#include <cert.h>
#include <keyhi.h>
#include <pk11pub.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Security/Security.h"
#include "linux/x509/X509Certificate.h"

/** What NSS hands out: its objects with their owners, bytes, and errors. */
namespace vorn::keys {

template <auto release>
struct NssRelease {
  template <class T>
  void operator()(T* object) const {
    release(object);
  }
};

using Slot = std::unique_ptr<PK11SlotInfo, NssRelease<PK11_FreeSlot>>;
using SlotList = std::unique_ptr<PK11SlotList, NssRelease<PK11_FreeSlotList>>;
using PrivateKeyHandle = std::unique_ptr<SECKEYPrivateKey, NssRelease<SECKEY_DestroyPrivateKey>>;
using PrivateKeyList = std::unique_ptr<SECKEYPrivateKeyList, NssRelease<SECKEY_DestroyPrivateKeyList>>;
using PublicKeyHandle = std::unique_ptr<SECKEYPublicKey, NssRelease<SECKEY_DestroyPublicKey>>;
using PublicKeyList = std::unique_ptr<SECKEYPublicKeyList, NssRelease<SECKEY_DestroyPublicKeyList>>;
using PublicKeyInfo =
    std::unique_ptr<CERTSubjectPublicKeyInfo, NssRelease<SECKEY_DestroySubjectPublicKeyInfo>>;
using GenericObjects = std::unique_ptr<PK11GenericObject, NssRelease<PK11_DestroyGenericObjects>>;

inline der::Bytes bytesOf(const SECItem& item) {
  return {item.data, item.len};
}

/** NSS takes its input as SECItem, which knows no const; nothing is written through it. */
inline SECItem itemOf(der::Bytes bytes) {
  return {siBuffer, const_cast<unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size())};
}

/** An attribute of a token's object; empty when it has none. `object` is what NSS has for that
 * type of object. */
inline std::vector<std::uint8_t> readAttribute(PK11ObjectType type, void* object,
                                               CK_ATTRIBUTE_TYPE attribute) {
  SECItem item{};
  if (PK11_ReadRawAttribute(type, object, attribute, &item) != SECSuccess) return {};
  const der::Bytes bytes = bytesOf(item);
  std::vector<std::uint8_t> value(bytes.begin(), bytes.end());
  SECITEM_FreeItem(&item, PR_FALSE);
  return value;
}

/** A failure of NSS in the terms of the mirrored interface. */
struct NssError {
  /** The status of a mirrored function. */
  OSStatus status;
  /** The code of an error in the domain "Internal CSSM error". */
  OSStatus cssmCode;
  /** NSS's own name, SEC_ERROR_BAD_PASSWORD for instance. */
  std::string name;
  /** A sentence for people where more is known than the name; else empty. */
  std::string sentence = "";
  /** A word of namespace reason, where more is known than the code; only with a sentence. */
  std::string reason = "";
};

/** The codes of the domain "Internal CSSM error" that this layer itself has a reason for. */
inline constexpr OSStatus kCssmInputLengthError = -2147415807;
inline constexpr OSStatus kCssmNoUserInteraction = -2147415840;
inline constexpr OSStatus kCssmOperationAuthDenied = -2147416032;
inline constexpr OSStatus kCssmUserCanceled = -2147415839;

/** A status of the mirrored functions, with its text for people; none is success. */
struct Failure {
  OSStatus status = 0;
  std::string text = "";
};

/** The one translation of the error that NSS reported last, on this thread. */
NssError lastNssError();

}  // namespace vorn::keys
