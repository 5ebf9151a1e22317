#include <pkcs11.h>

#include <dlfcn.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

/**
 * The software token with what it does not have: a count of tries, three, that stands in the file
 * VORN_TOKEN_TRIES, and keys of its own, on which what stands in the file VORN_TOKEN_KEYS is typed.
 */
namespace {

CK_FUNCTION_LIST* real = nullptr;

unsigned triesLeft() {
  unsigned tries = 3;
  std::ifstream(std::getenv("VORN_TOKEN_TRIES")) >> tries;
  return tries;
}

void setTries(unsigned tries) {
  std::ofstream(std::getenv("VORN_TOKEN_TRIES")) << tries;
}

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) {
  const CK_RV result = real->C_GetTokenInfo(slot, info);
  const unsigned tries = triesLeft();
  info->flags &= ~CK_FLAGS{CKF_USER_PIN_COUNT_LOW};
  if (tries < 3) info->flags |= CKF_USER_PIN_COUNT_LOW;
  if (tries == 1) info->flags |= CKF_USER_PIN_FINAL_TRY;
  if (tries == 0) info->flags |= CKF_USER_PIN_LOCKED;
  if (std::getenv("VORN_TOKEN_KEYS") != nullptr) info->flags |= CKF_PROTECTED_AUTHENTICATION_PATH;
  return result;
}

CK_RV login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG length) {
  const unsigned tries = triesLeft();
  if (tries == 0) return CKR_PIN_LOCKED;
  std::string typed;
  if (pin == nullptr) {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // people are slower
    std::ifstream(std::getenv("VORN_TOKEN_KEYS")) >> typed;
  }
  const CK_RV result =
      pin != nullptr
          ? real->C_Login(session, user, pin, length)
          : real->C_Login(session, user, reinterpret_cast<CK_UTF8CHAR_PTR>(typed.data()), typed.size());
  if (result == CKR_OK) setTries(3);
  if (result == CKR_PIN_INCORRECT) setTries(tries - 1);
  return result;
}

}  // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR list) {
  static CK_FUNCTION_LIST own;
  void* const library = dlopen("/usr/lib/softhsm/libsofthsm2.so", RTLD_NOW);
  const auto realList = reinterpret_cast<CK_C_GetFunctionList>(dlsym(library, "C_GetFunctionList"));
  if (realList(&real) != CKR_OK) return CKR_GENERAL_ERROR;
  own = *real;
  own.C_GetTokenInfo = &getTokenInfo;
  own.C_Login = &login;
  *list = &own;
  return CKR_OK;
}
