#include "linux/keys/Pkcs12File.h"

#include <ciferfam.h>
#include <nss.h>
#include <p12.h>
#include <p12plcy.h>
#include <prerror.h>
#include <secerr.h>
#include <secport.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "linux/keys/Nss.h"
#include "linux/processes/BuildId.h"

namespace vorn::keys {
namespace {

namespace fs = std::filesystem;

using Decoder = std::unique_ptr<SEC_PKCS12DecoderContext, NssRelease<SEC_PKCS12DecoderFinish>>;
using CertificateHandle = std::unique_ptr<CERTCertificate, NssRelease<CERT_DestroyCertificate>>;

// The most that programs write is a million, and some seconds are ten of it.
constexpr std::uint64_t kMostAtOnce = 10'000'000;
constexpr std::uint64_t kMostTogether = 5 * kMostAtOnce;

constexpr std::uint8_t kInteger = 0x02;
constexpr std::uint8_t kString = 0x04;
constexpr std::uint8_t kConstructed = 0x20;
constexpr std::uint8_t kSequence = 0x30;
constexpr std::uint8_t kNoEnd = 0x80;
constexpr int kDeepest = 64;

using Bytes = std::span<const std::uint8_t>;

/** Goes through BER, of which DER is a part: such files have lengths without an end, and strings in pieces.
 * In all of them a count of rounds is the number that stands behind a string of bytes, the salt. */
class Rounds {
 public:
  /** Takes the elements off `bytes`, up to an end of contents, or to what is no element: whoever reads on
   * there does so at the pace of one byte after another. `pieces` is the string that they are parts of. */
  void count(Bytes& bytes, int depth, std::vector<std::uint8_t>* pieces = nullptr) {
    if (depth == 0) isTooMuch_ = true;
    bool isBehindString = false;
    while (bytes.size() >= 2 && !isTooMuch_) {
      const std::uint8_t tag = bytes[0];
      const std::uint8_t length = bytes[1];
      bytes = bytes.subspan(2);
      if (tag == 0 && length == 0) return;
      const bool isString = (tag & ~kConstructed) == kString;
      std::vector<std::uint8_t> joined;
      std::vector<std::uint8_t>* const parts = pieces != nullptr ? pieces : isString ? &joined : nullptr;
      Bytes content = length == kNoEnd ? Bytes() : takeContent(bytes, length);
      if (length == kNoEnd)
        count(bytes, depth - 1, parts);
      else if ((tag & kConstructed) != 0)
        count(content, depth - 1, parts);
      else if (pieces != nullptr)
        pieces->insert(pieces->end(), content.begin(), content.end());
      else if (isString)
        countWithin(content, depth);
      else if (tag == kInteger && isBehindString)
        add(content);
      countWithin(joined, depth);
      isBehindString = isString;
    }
  }

  bool isTooMuch() const { return isTooMuch_; }

 private:
  /** Strings hold further elements, or anything else. */
  void countWithin(Bytes string, int depth) {
    if (!string.empty() && string[0] == kSequence) count(string, depth - 1);
  }

  static Bytes takeContent(Bytes& bytes, std::uint8_t first) {
    std::size_t length = first;
    if (first > kNoEnd) {
      length = 0;
      for (unsigned octets = first & 0x7FU; octets > 0 && !bytes.empty(); --octets, bytes = bytes.subspan(1))
        length = length > SIZE_MAX >> 8 ? SIZE_MAX : length << 8 | bytes[0];
    }
    const Bytes content = bytes.first(std::min(length, bytes.size()));
    bytes = bytes.subspan(content.size());
    return content;
  }

  void add(Bytes number) {
    const bool isNegative = !number.empty() && number[0] >= 0x80;
    std::uint64_t rounds = isNegative ? kMostAtOnce + 1 : 0;
    for (const std::uint8_t octet : number)
      if (rounds <= kMostAtOnce) rounds = rounds << 8 | octet;
    together_ += rounds;
    if (rounds > kMostAtOnce || together_ > kMostTogether) isTooMuch_ = true;
  }

  std::uint64_t together_ = 0;
  bool isTooMuch_ = false;
};

/** Whether the rounds of hashing, which make passwords hard to guess, are more than a person waits for; in
 * all that is not encrypted. */
bool asksForTooManyRounds(Bytes file) {
  Rounds rounds;
  rounds.count(file, kDeepest);
  return rounds.isTooMuch();
}

/** NSS as one task has it, with the database in `folder`, or with none. */
class Library {
 public:
  explicit Library(const fs::path& folder = {}) {
    NSSInitParameters parameters{};
    parameters.length = sizeof parameters;
    const std::string place = folder.empty() ? "" : "sql:" + folder.string();
    constexpr PRUint32 kNoDatabase = NSS_INIT_READONLY | NSS_INIT_NOCERTDB | NSS_INIT_NOMODDB;
    context_ =
        NSS_InitContext(place.c_str(), "", "", "", &parameters,
                        NSS_INIT_NOROOTINIT | NSS_INIT_OPTIMIZESPACE | (folder.empty() ? kNoDatabase : 0));
    // What authorities have used, old as it may be: the file is read, never written.
    for (const long cipher :
         {PKCS12_RC2_CBC_40, PKCS12_RC2_CBC_128, PKCS12_RC4_40, PKCS12_RC4_128, PKCS12_DES_56,
          PKCS12_DES_EDE3_168, PKCS12_AES_CBC_128, PKCS12_AES_CBC_192, PKCS12_AES_CBC_256})
      SEC_PKCS12EnableCipher(cipher, 1);
  }
  ~Library() {
    if (context_ != nullptr) NSS_ShutdownContext(context_);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  bool isOpen() const { return context_ != nullptr; }

 private:
  NSSInitContext* context_;
};

/** A password in the form of the standard: UTF-16, the higher byte first, with a zero at the end. In locked
 * memory. */
class WidePassword {
 public:
  explicit WidePassword(std::string_view text) {
    const auto room = static_cast<unsigned>(2 * text.size() + 2);
    if (bytes_ = static_cast<unsigned char*>(prompt::allocateLocked(room)); bytes_ == nullptr)
      throw std::bad_alloc();
    unsigned length = 0;
    PORT_UCS2_UTF8Conversion(PR_TRUE, reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())),
                             static_cast<unsigned>(text.size()), bytes_, room, &length);
    item_ = {siBuffer, bytes_, length + 2};
  }
  ~WidePassword() { prompt::freeLocked(bytes_); }
  WidePassword(const WidePassword&) = delete;
  WidePassword& operator=(const WidePassword&) = delete;

  SECItem* item() { return &item_; }
  /** No password at all, which is not the same as an empty one. */
  void makeNone() { item_.len = 0; }

 private:
  unsigned char* bytes_ = nullptr;
  SECItem item_{};
};

Pkcs12Result failure(Pkcs12Status status) {
  return {status, lastNssError().name};
}

bool isOfPassword(PRErrorCode error) {
  return error == SEC_ERROR_BAD_PASSWORD || error == SEC_ERROR_PKCS12_INVALID_MAC ||
         error == SEC_ERROR_PKCS12_PRIVACY_PASSWORD_INCORRECT;
}

/** A file and the password that opens it, which the decoder goes on to use. */
class OpenFile {
 public:
  /** The programs that write such files differ in how they take a password that is empty, or has other
   * letters than those of ASCII, into account for the newer ciphers: the ways are tried one after another. */
  OpenFile(Bytes file, std::string_view password, PK11SlotInfo* slot, void* argument) : password_(password) {
    for (const PRInt32 wideForAll : {0, 1}) {
      NSS_OptionSet(__NSS_PKCS12_DECODE_FORCE_UNICODE, wideForAll);
      if (decode(file, slot, argument) || !isOfPassword(PR_GetError())) return;
    }
    if (!password.empty()) return;
    password_.makeNone();
    decode(file, slot, argument);
  }

  /** Null with NSS's error set when the file could not be opened. */
  SEC_PKCS12DecoderContext* decoder() const { return decoder_.get(); }

 private:
  bool decode(Bytes file, PK11SlotInfo* slot, void* argument) {
    decoder_.reset(SEC_PKCS12DecoderStart(password_.item(), slot, argument, nullptr, nullptr, nullptr,
                                          nullptr, nullptr));
    if (decoder_ == nullptr ||
        SEC_PKCS12DecoderUpdate(decoder_.get(), const_cast<unsigned char*>(file.data()), file.size()) !=
            SECSuccess ||
        SEC_PKCS12DecoderVerify(decoder_.get()) != SECSuccess) {
      const PRErrorCode error = PR_GetError();
      decoder_.reset();
      PR_SetError(error, 0);
    }
    return decoder_ != nullptr;
  }

  WidePassword password_;
  Decoder decoder_;
};

Pkcs12Result unreadable() {
  return failure(isOfPassword(PR_GetError()) ? Pkcs12Status::kWrongPassword : Pkcs12Status::kMalformed);
}

std::vector<Pkcs12Certificate> certificatesIn(SEC_PKCS12DecoderContext* decoder) {
  std::vector<Pkcs12Certificate> certificates;
  if (SEC_PKCS12DecoderIterateInit(decoder) != SECSuccess) return certificates;
  const SEC_PKCS12DecoderItem* item = nullptr;
  while (SEC_PKCS12DecoderIterateNext(decoder, &item) == SECSuccess) {
    if (item->type != SEC_OID_PKCS12_V1_CERT_BAG_ID || item->der == nullptr) continue;
    const der::Bytes bytes = bytesOf(*item->der);
    certificates.push_back({{bytes.begin(), bytes.end()}, item->hasKey != PR_FALSE});
  }
  return certificates;
}

/** Whether a key that is encrypted once more, within what was, asks for too many rounds. */
bool hidesSlowKey(SEC_PKCS12DecoderContext* decoder) {
  if (SEC_PKCS12DecoderIterateInit(decoder) != SECSuccess) return false;
  const SEC_PKCS12DecoderItem* item = nullptr;
  while (SEC_PKCS12DecoderIterateNext(decoder, &item) == SECSuccess)
    if (item->shroudAlg != nullptr && asksForTooManyRounds(bytesOf(item->shroudAlg->parameters))) return true;
  return false;
}

/** Asked when a nickname is another subject's already, or there is none: the subject's name with a number. */
SECItem* PR_CALLBACK newNickname(SECItem* old, PRBool* cancel, void* argument) {
  static unsigned count = 0;
  *cancel = PR_FALSE;
  const auto* certificate = static_cast<CERTCertificate*>(argument);
  std::string name = old != nullptr && old->data != nullptr
                         ? std::string(reinterpret_cast<const char*>(old->data),
                                       strnlen(reinterpret_cast<const char*>(old->data), old->len))
                         : "";
  if (name.empty() && certificate != nullptr && certificate->subjectName != nullptr)
    name = certificate->subjectName;
  if (name.empty()) name = "certificate";
  if (old != nullptr && old->data != nullptr) name += " #" + std::to_string(++count + 1);
  SECItem* const nickname = SECITEM_AllocItem(nullptr, nullptr, static_cast<unsigned>(name.size() + 1));
  if (nickname != nullptr) std::memcpy(nickname->data, name.c_str(), name.size() + 1);
  return nickname;
}

char* PR_CALLBACK storePassword(PK11SlotInfo* /*slot*/, PRBool retry, void* argument) {
  const auto& ask = *static_cast<const AskStorePassword*>(argument);
  prompt::Secret password;
  return ask(retry != PR_FALSE, password) ? PORT_Strdup(password.text()) : nullptr;  // NSS wipes it
}

/** A new database has no password until one is set, the empty one included. */
bool isReady(PK11SlotInfo* slot, void* argument) {
  if (PK11_NeedUserInit(slot) != PR_FALSE && PK11_InitPin(slot, nullptr, "") != SECSuccess) return false;
  return PK11_NeedLogin(slot) == PR_FALSE || PK11_Authenticate(slot, PR_TRUE, argument) == SECSuccess;
}

bool holds(PK11SlotInfo* slot, const Pkcs12Certificate& certificate, void* argument) {
  SECItem der = itemOf(certificate.der);
  const CertificateHandle found(PK11_FindCertFromDERCertItem(slot, &der, argument));
  if (found == nullptr) return false;
  return !certificate.hasKey ||
         PrivateKeyHandle(PK11_FindPrivateKeyFromCert(slot, found.get(), argument)) != nullptr;
}

Pkcs12Result importInto(PK11SlotInfo* slot, Bytes file, std::string_view password, void* argument) {
  const OpenFile open(file, password, slot, argument);
  if (open.decoder() == nullptr) return unreadable();
  std::vector<Pkcs12Certificate> certificates = certificatesIn(open.decoder());
  const auto isThere = [&](const Pkcs12Certificate& certificate) {
    return holds(slot, certificate, argument);
  };
  if (std::all_of(certificates.begin(), certificates.end(), isThere))
    return {Pkcs12Status::kAlreadyThere, "", std::move(certificates)};
  if (SEC_PKCS12DecoderValidateBags(open.decoder(), &newNickname) != SECSuccess ||
      SEC_PKCS12DecoderImportBags(open.decoder()) != SECSuccess)
    return failure(Pkcs12Status::kStoreFailed);
  return {Pkcs12Status::kFine, "", std::move(certificates)};
}

Pkcs12Result changeIn(PK11SlotInfo* slot, Change change, Bytes certificate, void* argument) {
  SECItem der = itemOf(certificate);
  CertificateHandle found(PK11_FindCertFromDERCertItem(slot, &der, argument));
  const auto result = [](bool isDone) {
    return isDone ? Pkcs12Result{} : failure(Pkcs12Status::kStoreFailed);
  };
  if (change == Change::kRemoveWithKey)
    return result(found != nullptr && PK11_DeleteTokenCertAndKey(found.get(), argument) == SECSuccess);
  if (found == nullptr) {
    if (change == Change::kTrustNoMore) return {Pkcs12Status::kAlreadyThere};
    found.reset(CERT_NewTempCertificate(CERT_GetDefaultCertDB(), &der, nullptr, PR_FALSE, PR_TRUE));
    if (found == nullptr) return failure(Pkcs12Status::kMalformed);
    const std::string name = std::string(found->subjectName);
    if (PK11_ImportCert(slot, found.get(), CK_INVALID_HANDLE, name.c_str(), PR_FALSE) != SECSuccess)
      return failure(Pkcs12Status::kStoreFailed);
  }
  CERTCertTrust trust{};
  CERT_DecodeTrustString(&trust, change == Change::kTrust ? ",C," : ",,");
  return result(CERT_ChangeCertTrust(CERT_GetDefaultCertDB(), found.get(), &trust) == SECSuccess);
}

/** In the database of that folder, opened for writing, with its password if it has one. */
Pkcs12Result inStore(const fs::path& folder, const AskStorePassword& askStorePassword,
                     const std::function<Pkcs12Result(PK11SlotInfo* slot, void* argument)>& action) {
  const mode_t before = umask(S_IRWXG | S_IRWXO);
  std::error_code impossible;
  fs::create_directories(folder, impossible);
  const Library library(folder);
  umask(before);
  if (impossible) return {Pkcs12Status::kStoreFailed, impossible.message()};
  if (!library.isOpen()) return failure(Pkcs12Status::kStoreFailed);
  void* const argument = const_cast<AskStorePassword*>(&askStorePassword);
  const Slot slot(PK11_GetInternalKeySlot());
  PK11_SetPasswordFunc(&storePassword);
  Pkcs12Result result =
      isReady(slot.get(), argument) ? action(slot.get(), argument) : failure(Pkcs12Status::kStoreLocked);
  PK11_SetPasswordFunc(nullptr);
  return result;
}

}  // namespace

Pkcs12Result readPkcs12(Bytes file, std::string_view password) {
  if (asksForTooManyRounds(file)) return {Pkcs12Status::kTooSlow};
  const Library library;
  if (!library.isOpen()) return failure(Pkcs12Status::kStoreFailed);
  const Slot slot(PK11_GetInternalKeySlot());
  const OpenFile open(file, password, slot.get(), nullptr);
  if (open.decoder() == nullptr) return unreadable();
  if (hidesSlowKey(open.decoder())) return {Pkcs12Status::kTooSlow};
  return {Pkcs12Status::kFine, "", certificatesIn(open.decoder())};
}

Pkcs12Result importPkcs12(Bytes file, std::string_view password, const fs::path& folder,
                          const AskStorePassword& askStorePassword) {
  return inStore(folder, askStorePassword, [&](PK11SlotInfo* slot, void* argument) {
    return importInto(slot, file, password, argument);
  });
}

Pkcs12Result changeStore(Change change, Bytes certificate, const fs::path& folder,
                         const AskStorePassword& askStorePassword) {
  return inStore(folder, askStorePassword, [&](PK11SlotInfo* slot, void* argument) {
    return changeIn(slot, change, certificate, argument);
  });
}

extern "C" __attribute__((visibility("default")))
const KeyFiles vornKeyFiles = {kBuildId, &readPkcs12, &importPkcs12, &changeStore};

}  // namespace vorn::keys
