#pragma once

namespace vorn {

/**
 * The memory of a signed document is as much as the next one needs: keep it from going back to the system,
 * and coming again page by page, between documents that follow each other.
 */
void keepFreedMemory();

/** For when no request is at hand: gives back what is kept. */
void handBackFreedMemory();

}  // namespace vorn
