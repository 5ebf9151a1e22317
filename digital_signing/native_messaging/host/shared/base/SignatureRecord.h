#pragma once

#include <string>

namespace vorn {

/**
 * The account of who had what signed: for every signature one line at INFO in the log's file, and one in the
 * system's log with what comes from outside in quotes, without anything of the content. Caller, certificate
 * and document lie in the log's diagnostic context, so that none of the classes on the way has to know them.
 */
namespace signature_record {

/** For all signatures to come: the extension that started the host, as the browser names it. */
void setCaller(const std::string& caller);

/** For the signatures to come: the serial number of the certificate. */
void setCertificate(const std::string& serial);

/** For the signatures to come: the id that the page gave the document. */
void setDocument(const std::string& id);

/** What `setDocument` was given last, cut where it is too long to be told. */
std::string document();

/** To be called when a signature has been made; the digest as it stands in it. */
void add(const std::string& element, const std::string& digest);

}  // namespace signature_record

}  // namespace vorn
