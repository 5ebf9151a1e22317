#include <pkcs11.h>

#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

/**
 * The software token as a card, which is in its reader while the file CARD is there. That holds how many
 * wrong PINs the card still bears, at first three. With CARD_KEYS the reader has keys, on which what stands
 * in that file is typed, once it is there.
 */
namespace {

CK_FUNCTION_LIST* token = nullptr;

bool isIn() {
  return access(std::getenv("CARD"), F_OK) == 0;
}

unsigned triesLeft() {
  unsigned tries = 3;
  std::ifstream(std::getenv("CARD")) >> tries;
  return tries;
}

void setTries(unsigned tries) {
  std::ofstream(std::getenv("CARD")) << tries;
}

CK_RV slotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR information) {
  const CK_RV result = token->C_GetSlotInfo(slot, information);
  information->flags |= CKF_REMOVABLE_DEVICE;
  if (!isIn()) information->flags &= ~CK_FLAGS{CKF_TOKEN_PRESENT};
  return result;
}

CK_RV tokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR information) {
  if (!isIn()) return CKR_TOKEN_NOT_PRESENT;
  const CK_RV result = token->C_GetTokenInfo(slot, information);
  const unsigned tries = triesLeft();
  CK_FLAGS& flags = information->flags;
  flags &= ~CK_FLAGS{CKF_USER_PIN_COUNT_LOW};
  if (tries < 3) flags |= CKF_USER_PIN_COUNT_LOW;
  if (tries == 1) flags |= CKF_USER_PIN_FINAL_TRY;
  if (tries == 0) flags |= CKF_USER_PIN_LOCKED;
  if (std::getenv("CARD_KEYS") != nullptr) flags |= CKF_PROTECTED_AUTHENTICATION_PATH;
  return result;
}

CK_RV login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG length) {
  const unsigned tries = triesLeft();
  if (tries == 0) return CKR_PIN_LOCKED;
  std::string typed;
  if (pin == nullptr) {
    do std::this_thread::sleep_for(std::chrono::milliseconds(300));  // people are slower
    while (access(std::getenv("CARD_KEYS"), F_OK) != 0);
    std::ifstream(std::getenv("CARD_KEYS")) >> typed;
    pin = reinterpret_cast<CK_UTF8CHAR_PTR>(typed.data());
    length = typed.size();
  }
  const CK_RV result = token->C_Login(session, user, pin, length);
  if (result == CKR_OK) setTries(3);
  if (result == CKR_PIN_INCORRECT) setTries(tries - 1);
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
    card.C_GetTokenInfo = &tokenInfo;
    card.C_Login = &login;
    card.C_OpenSession = &whileIn<&CK_FUNCTION_LIST::C_OpenSession>;
    card.C_GetSessionInfo = &whileIn<&CK_FUNCTION_LIST::C_GetSessionInfo>;
    card.C_FindObjectsInit = &whileIn<&CK_FUNCTION_LIST::C_FindObjectsInit>;
    card.C_SignInit = &whileIn<&CK_FUNCTION_LIST::C_SignInit>;
    return card;
  }();
  *functions = &list;
  return CKR_OK;
}
