#pragma once

#include <string>
#include <string_view>

namespace vorn::vornctl {

/** What kind of finding it is, for programs, in small letters and hyphens: one of those below. */
class Code {
 public:
  explicit constexpr Code(std::string_view word) : word_(word) {}

  constexpr std::string_view word() const { return word_; }
  std::string text() const { return std::string(word_); }
  bool operator==(const Code&) const = default;

 private:
  std::string_view word_;
};

/** Every code of doctor and of identities, with what it says. A code stays when the words around it change,
 * and docs/deployment.md has the same list. */
namespace code {

// clang-format off
// Browsers and their manifests.
inline constexpr Code kNoBrowser{"no-browser"};                               // no supported browser was found for this user
inline constexpr Code kNotRegistered{"not-registered"};                       // the host is registered with none of these browsers
inline constexpr Code kRegistered{"registered"};                              // the host is registered here, with the extensions that are named
inline constexpr Code kBrowserSandboxed{"browser-sandboxed"};                 // the browser runs in a sandbox, from which it may not reach the host
inline constexpr Code kExaminesRoot{"examines-root"};                         // this was run by sudo, and is about root's browsers and key store
inline constexpr Code kConfiguredIdsBad{"configured-ids-bad"};                // /etc/vorn-signing/extension-ids has what is no id, or cannot be read
inline constexpr Code kExtensionNotRegistered{"extension-not-registered"};    // an extension that is to sign may not start the host
inline constexpr Code kManifestHides{"manifest-hides"};                       // a user's manifest hides the good one for all users
inline constexpr Code kManifestUnused{"manifest-unused"};                     // a manifest is there that the browser does not use
inline constexpr Code kManifestStale{"manifest-stale"};                       // the manifest names a host that has moved
inline constexpr Code kManifestUnreadable{"manifest-unreadable"};             // the manifest cannot be read
inline constexpr Code kManifestSyntax{"manifest-syntax"};                     // the manifest is no JSON object
inline constexpr Code kManifestName{"manifest-name"};                         // the manifest has another name than its file
inline constexpr Code kManifestDescription{"manifest-description"};           // the manifest has no description
inline constexpr Code kManifestType{"manifest-type"};                         // the manifest's type is not "stdio"
inline constexpr Code kManifestPath{"manifest-path"};                         // the manifest has no absolute path of the host
inline constexpr Code kManifestMember{"manifest-member"};                     // the manifest has a member that Firefox refuses
inline constexpr Code kManifestNoExtension{"manifest-no-extension"};          // the manifest names no extension
inline constexpr Code kManifestBadExtension{"manifest-bad-extension"};        // an entry among the extensions makes the browser refuse the manifest
inline constexpr Code kManifestOddExtension{"manifest-odd-extension"};        // an entry among the extensions stands for none
inline constexpr Code kPolicyHostBlocked{"policy-host-blocked"};              // a policy forbids all extensions to start the host
inline constexpr Code kPolicyUserHosts{"policy-user-hosts"};                  // a policy lets no user register a host
inline constexpr Code kPolicyExtensionBlocked{"policy-extension-blocked"};    // a policy forbids the extension
inline constexpr Code kPolicyMinimumVersion{"policy-minimum-version"};        // a policy runs the extension from a version on
// The host.
inline constexpr Code kHostAnswers{"host-answers"};                           // the host starts and answers
inline constexpr Code kHostMissing{"host-missing"};                           // the host is not there
inline constexpr Code kHostNotExecutable{"host-not-executable"};              // the host may not be started: its mode, or a file system without programs
inline constexpr Code kHostSilent{"host-silent"};                             // the host starts and does not answer
inline constexpr Code kHostSearchFailed{"host-search-failed"};                // the host answers, but cannot search for certificates
inline constexpr Code kHostVersion{"host-version"};                           // host and vornctl are of different versions
inline constexpr Code kForeignWriter{"foreign-writer"};                       // somebody else than root and the user can change the host or a manifest
inline constexpr Code kLogNotWritable{"log-not-writable"};                    // the host cannot write its log
// Key stores and cards.
inline constexpr Code kKeyStores{"key-stores"};                               // these key stores were looked into
inline constexpr Code kIdentities{"identities"};                              // so many identities can sign
inline constexpr Code kNoKeyStore{"no-key-store"};                            // there is no key store and no card
inline constexpr Code kNoIdentity{"no-identity"};                             // no key store holds a certificate with its private key
inline constexpr Code kNoUsableIdentity{"no-usable-identity"};                // no identity can sign (macOS)
inline constexpr Code kKeyStoreNotSearched{"key-store-not-searched"};         // the process for keys gives no answer
inline constexpr Code kKeyStoreUnreadable{"key-store-unreadable"};            // a key store cannot be opened
inline constexpr Code kStoreListUnreadable{"store-list-unreadable"};          // a file that names key stores cannot be used
inline constexpr Code kModuleMissing{"module-missing"};                       // the library of a token is not there
inline constexpr Code kModuleBroken{"module-broken"};                         // the library of a token cannot be used
inline constexpr Code kModuleHangs{"module-hangs"};                           // the library of a token is waited for in vain
inline constexpr Code kCardOut{"card-out"};                                   // there is no card in the reader
inline constexpr Code kTokenHidesCertificate{"token-hides-certificate"};      // a token shows no certificate without its PIN
inline constexpr Code kReaderDaemon{"reader-daemon"};                         // the service for card readers does not run
inline constexpr Code kPinBlocked{"pin-blocked"};                             // the PIN of a token is blocked
inline constexpr Code kPinLastTry{"pin-last-try"};                            // one more wrong PIN blocks a token
inline constexpr Code kFirefoxPassword{"firefox-password"};                   // a primary password of Firefox protects a key
inline constexpr Code kNoPromptProgram{"no-prompt-program"};                  // nobody can ask for a PIN or password
inline constexpr Code kConfirmed{"confirmed"};                                // every request to sign is to be confirmed
// Certificates.
inline constexpr Code kExpired{"expired"};                                    // the certificate has expired
inline constexpr Code kExpiresSoon{"expires-soon"};                           // the certificate ends within thirty days
inline constexpr Code kNotValidYet{"not-valid-yet"};                          // the certificate is not valid before a day to come
inline constexpr Code kKeyNoRsa{"key-no-rsa"};                                // its key is no RSA key
inline constexpr Code kKeyUsage{"key-usage"};                                 // it is not for digital signatures
inline constexpr Code kKeyMayNotSign{"key-may-not-sign"};                     // its private key may not sign
inline constexpr Code kNoName{"no-name"};                                     // it has no name
inline constexpr Code kNoEmail{"no-email"};                                   // it has no e-mail address
inline constexpr Code kNoAbn{"no-abn"};                                       // it has no ABN
inline constexpr Code kOddAbn{"odd-abn"};                                     // its ABN cannot be read, or is not eleven digits
inline constexpr Code kNoAki{"no-aki"};                                       // it does not name the key of its authority (AKI)
inline constexpr Code kCertificateUnreadable{"certificate-unreadable"};       // it cannot be read (macOS)
// Certificates, compared with the user who was named.
inline constexpr Code kName{"name"};                                          // it has another name
inline constexpr Code kEmail{"email"};                                        // it has another e-mail address
inline constexpr Code kAbn{"abn"};                                            // it has another ABN
inline constexpr Code kAki{"aki"};                                            // it is of another authority (AKI)
inline constexpr Code kAnotherPreferred{"another-preferred"};                 // it fits, but the host takes another that fits
// clang-format on

}  // namespace code

/** Something that does not work: the reason, which is not the consequence of another, and what to do about
 * it. */
struct Fault {
  Code code;
  std::string cause;
  std::string remedy;
};

}  // namespace vorn::vornctl
