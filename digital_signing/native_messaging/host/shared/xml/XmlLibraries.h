#pragma once

namespace vorn {

/**
 * Starts what documents are read, signed and verified by, once for the process. Throws a TechnicalException
 * when it does not start, or does not bound what a document may cost.
 */
void startXmlLibraries();

/** Stops it, for good. */
void stopXmlLibraries();

}  // namespace vorn
