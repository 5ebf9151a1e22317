#pragma once

// GNUstep's headers ask for the blocks runtime under this name; Debian's package has it under the other.
#include <Block.h>
