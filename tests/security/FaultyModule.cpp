#include <dlfcn.h>
#include <pkcs11.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

/** Does what the name of its file says. */
CK_RV initialise(void* /*arguments*/) {
  Dl_info self{};
  dladdr(reinterpret_cast<void*>(&initialise), &self);
  const std::string file = self.dli_fname;
  if (file.ends_with("exits.so")) std::exit(0);
  if (file.ends_with("crashes.so")) std::abort();
  if (file.ends_with("stalls.so")) return CKR_OK;
  return CKR_DEVICE_ERROR;
}

CK_RV describe(CK_INFO* module) {
  module->cryptokiVersion = {2, 20};
  return CKR_OK;
}

CK_RV listOneSlot(CK_BBOOL /*isPresent*/, CK_SLOT_ID* /*slots*/, CK_ULONG* count) {
  *count = 1;
  return CKR_OK;
}

CK_RV describeSlot(CK_SLOT_ID /*slot*/, CK_SLOT_INFO* slot) {
  slot->flags = CKF_TOKEN_PRESENT;
  return CKR_OK;
}

CK_RV stall(CK_SLOT_ID /*slot*/, CK_TOKEN_INFO* /*token*/) {
  return pause(), CKR_DEVICE_ERROR;
}

}  // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** functions) {
  static CK_FUNCTION_LIST list{};
  list.C_Initialize = &initialise;
  list.C_GetInfo = &describe;
  list.C_GetSlotList = &listOneSlot;
  list.C_GetSlotInfo = &describeSlot;
  list.C_GetTokenInfo = &stall;
  *functions = &list;
  return CKR_OK;
}
