#pragma once

#include <stddef.h>
#include <stdint.h>

extern "C" {

/** The part of the Common Security Services Manager's types that holds the bytes of a public key. */
typedef struct cssm_data {
  size_t Length; /* in bytes */
  uint8_t* Data;
} CSSM_DATA;

typedef struct cssm_key {
  CSSM_DATA KeyData;
} CSSM_KEY;
}
