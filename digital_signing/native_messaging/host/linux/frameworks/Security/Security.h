#pragma once

/**
 * The part of the Security interface that the host calls. The transforms have headers of their own, which a
 * source that uses them includes itself, as it has to with compilers that know no blocks.
 */
#include <Security/SecBase.h>
#include <Security/SecCertificate.h>
#include <Security/SecCertificateOIDs.h>
#include <Security/SecIdentity.h>
#include <Security/SecItem.h>
#include <Security/SecKey.h>
#include <Security/cssmtype.h>
