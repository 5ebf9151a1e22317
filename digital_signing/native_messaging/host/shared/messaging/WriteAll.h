#pragma once

#include <string_view>

/**
 * Writes all the bytes to a descriptor, which may be set not to block, waiting as long as the reader takes.
 * Throws OutputClosed when the reader has gone; allocates nothing.
 */
void writeAll(int descriptor, std::string_view bytes);
