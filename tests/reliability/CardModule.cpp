// The software token as a card that is in its reader while the folder CARD is there.
#include <dlfcn.h>
#include <pkcs11.h>
#include <unistd.h>

#include <cstdlib>

namespace {

CK_FUNCTION_LIST* token = nullptr;

bool isIn() {
  return access(std::getenv("CARD"), F_OK) == 0;
}

CK_RV slotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR information) {
  const CK_RV result = token->C_GetSlotInfo(slot, information);
  information->flags |= CKF_REMOVABLE_DEVICE;
  if (!isIn()) information->flags &= ~CK_FLAGS{CKF_TOKEN_PRESENT};
  return result;
}

template <auto function, typename... Arguments>
CK_RV whileIn(Arguments... arguments) {
  return isIn() ? (token->*function)(arguments...) : CKR_TOKEN_NOT_PRESENT;
}

}  // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** functions) {
  static CK_FUNCTION_LIST list = [] {
    void* const library = dlopen("/usr/lib/softhsm/libsofthsm2.so", RTLD_NOW);
    reinterpret_cast<CK_C_GetFunctionList>(dlsym(library, "C_GetFunctionList"))(&token);
    CK_FUNCTION_LIST card = *token;
    card.C_GetSlotInfo = &slotInfo;
    card.C_GetTokenInfo = &whileIn<&CK_FUNCTION_LIST::C_GetTokenInfo>;
    card.C_OpenSession = &whileIn<&CK_FUNCTION_LIST::C_OpenSession>;
    card.C_GetSessionInfo = &whileIn<&CK_FUNCTION_LIST::C_GetSessionInfo>;
    card.C_FindObjectsInit = &whileIn<&CK_FUNCTION_LIST::C_FindObjectsInit>;
    card.C_SignInit = &whileIn<&CK_FUNCTION_LIST::C_SignInit>;
    return card;
  }();
  *functions = &list;
  return CKR_OK;
}
