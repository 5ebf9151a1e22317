#include "vornctl/ErrorWords.h"

#include <algorithm>
#include <iterator>

namespace vornctl {
namespace {

constexpr ErrorWords kWords[] = {
    {100, "the system or a library failed", "read vorn-signing.log in your home folder", true},
    {101, "the host does not understand the request", "use the vornctl that came with the host", true},
    {102, "no identity in the key store matches",
     "let \"vornctl identities\" with the same name, e-mail, ABN and AKI tell why", true},
    {103, "the document is not well-formed XML", "correct the document", false},
    {104, "the document does not have exactly one CounterpartData and one RenderedData element",
     "correct the document", false},
    {105, "the key could not sign", "unlock the key store or insert the token, and try again", true},
    {107, "the certificate has expired", "renew the certificate", true},
    {108, "the algorithm is unknown", "use the vornctl that came with the host", true},
};
constexpr ErrorWords kUnknown = {0, "the host reports an error that is unknown here",
                                 "use the vornctl that came with the host", true};

}  // namespace

const ErrorWords& wordsFor(std::uint32_t code) {
  const auto* const found = std::find_if(std::begin(kWords), std::end(kWords),
                                         [code](const ErrorWords& words) { return words.code == code; });
  return found != std::end(kWords) ? *found : kUnknown;
}

}  // namespace vornctl
