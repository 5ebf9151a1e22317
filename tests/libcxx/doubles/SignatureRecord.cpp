#include "shared/base/SignatureRecord.h"

namespace vorn::signature_record {

void setCaller(const std::string&) {}

}  // namespace vorn::signature_record
