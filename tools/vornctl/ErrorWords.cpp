#include "vornctl/ErrorWords.h"

#include <algorithm>
#include <iterator>

namespace vornctl {
namespace {

constexpr ErrorWords kWords[] = {
    {100, true, "the system or a library failed", "read vorn-signing.log in your home folder"},
    {101, true, "the host does not understand the request", "use the vornctl that came with the host"},
    {102, true, "no identity in the key store matches",
     "let \"vornctl identities\" with the same name, e-mail, ABN and AKI tell why"},
    {103, false, "the document is not well-formed XML", "correct the document"},
    {104, false, "the document does not have exactly one CounterpartData and one RenderedData element",
     "correct the document"},
    {105, true, "the key could not sign", "unlock the key store or insert the token, and try again"},
    {107, true, "the certificate has expired", "renew the certificate"},
    {108, true, "the algorithm is unknown", "use the vornctl that came with the host"},
};
constexpr ErrorWords kUnknown = {0, true, "the host reports an error that is unknown here",
                                 "use the vornctl that came with the host"};

}  // namespace

const ErrorWords& wordsFor(std::uint32_t code) {
  const auto* const found = std::find_if(std::begin(kWords), std::end(kWords),
                                         [code](const ErrorWords& words) { return words.code == code; });
  return found != std::end(kWords) ? *found : kUnknown;
}

}  // namespace vornctl
