#include "shared/SignatureRecord.h"

namespace signature_record {

void setCaller(const std::string&) {}

}  // namespace signature_record
