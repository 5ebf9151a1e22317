#pragma once

#include "CoreFoundation/CFArray.h"
#include "CoreFoundation/CFBase.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFDate.h"
#include "CoreFoundation/CFDateFormatter.h"
#include "CoreFoundation/CFDictionary.h"
#include "CoreFoundation/CFError.h"
#include "CoreFoundation/CFNumber.h"
#include "CoreFoundation/CFString.h"
