/// @file
/// The double of DDS_String_free.
#include "Double.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"

DOUBLE(1, DDS_String_free, .shown = {0});
