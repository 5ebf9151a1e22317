#pragma once

/**
 * For the sources that call what macOS has deprecated: they are compiled without its warnings. The calls
 * stay: what they answer goes into answers and signatures, which must not change with the system.
 *
 * - Security transforms sign and encode, and pages are shown their error texts (deprecated in 13.0).
 * - SecCertificateCopyPublicKey and SecKeyGetCSSMKey lend the bytes of the public key (10.14, 10.7).
 * - FSFindFolder and FSRefMakePath tell the home folder of the user domain, which holds the log (10.8).
 * - Gestalt tells the version as the three numbers that pages are told (10.8).
 */
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
