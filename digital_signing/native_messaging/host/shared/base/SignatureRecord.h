#pragma once

#include <string>

/** The account of who had what signed: for every signature one line at INFO in the log's file, and one in the
 * system's log with what comes from outside in quotes, without anything of the content. Caller, certificate
 * and document lie in the log's diagnostic context, so that none of the classes on the way has to know them.
 */
namespace vorn::signature_record {

/** Names the extension that started the host, as the browser does, in all records to come. */
void setCaller(const std::string& caller);

/** Sets the serial number of the certificate for the records to come. */
void setCertificate(const std::string& serial);

/** Sets the page's id of the document for the records to come. */
void setDocument(const std::string& id);

/** The id that `setDocument` was given last, cut where it is too long for a record. */
std::string document();

/** To be called when a signature has been made; the digest as it stands in it. */
void add(const std::string& element, const std::string& digest);

}  // namespace vorn::signature_record
