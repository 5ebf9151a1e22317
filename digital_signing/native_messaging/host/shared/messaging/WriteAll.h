#pragma once

#include <string_view>

namespace vorn {

/**
 * Writes all the bytes to a descriptor, which may be set not to block, waiting as long as the reader takes.
 * Throws OutputClosedException when the reader has gone; allocates nothing.
 */
void writeAll(int descriptor, std::string_view bytes);

}  // namespace vorn
