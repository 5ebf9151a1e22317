#pragma once

#include <stddef.h>
#include <stdint.h>

extern "C" {

/** The parts of the Common Security Services Manager's types that describe a public key. */
typedef uint32_t CSSM_HEADERVERSION;
typedef uint32_t CSSM_KEYBLOB_TYPE;
typedef uint32_t CSSM_KEYBLOB_FORMAT;
typedef uint32_t CSSM_ALGORITHMS;
typedef uint32_t CSSM_KEYCLASS;
typedef uint32_t CSSM_KEYATTR_FLAGS;
typedef uint32_t CSSM_KEYUSE;
typedef uint32_t CSSM_ENCRYPT_MODE;

enum { CSSM_KEYHEADER_VERSION = 2 };
enum { CSSM_KEYBLOB_RAW = 0 };
enum { CSSM_KEYBLOB_RAW_FORMAT_PKCS1 = 1 };
#define CSSM_KEYBLOB_RAW_FORMAT_X509 0x80000000u
enum { CSSM_ALGID_NONE = 0, CSSM_ALGID_RSA = 42, CSSM_ALGID_ECDSA = 73 };
enum { CSSM_KEYCLASS_PUBLIC_KEY = 0 };
#define CSSM_KEYUSE_ANY 0x80000000u

typedef struct cssm_guid {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
} CSSM_GUID;

typedef struct cssm_date {
  uint8_t Year[4];
  uint8_t Month[2];
  uint8_t Day[2];
} CSSM_DATE;

typedef struct cssm_data {
  size_t Length; /* in bytes */
  uint8_t* Data;
} CSSM_DATA;

typedef struct cssm_keyheader {
  CSSM_HEADERVERSION HeaderVersion;
  CSSM_GUID CspId;
  CSSM_KEYBLOB_TYPE BlobType;
  CSSM_KEYBLOB_FORMAT Format;
  CSSM_ALGORITHMS AlgorithmId;
  CSSM_KEYCLASS KeyClass;
  uint32_t LogicalKeySizeInBits;
  CSSM_KEYATTR_FLAGS KeyAttr;
  CSSM_KEYUSE KeyUsage;
  CSSM_DATE StartDate;
  CSSM_DATE EndDate;
  CSSM_ALGORITHMS WrapAlgorithmId;
  CSSM_ENCRYPT_MODE WrapMode;
  uint32_t Reserved;
} CSSM_KEYHEADER;

typedef struct cssm_key {
  CSSM_KEYHEADER KeyHeader;
  CSSM_DATA KeyData;
} CSSM_KEY;
}
