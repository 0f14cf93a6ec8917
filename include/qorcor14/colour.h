// qorcor14/colour.h - colour and imaging: colour values in RGB, HSV and HLS,
// ICC colour profiles and transforms, and device-independent bitmaps.
#pragma once

#include <qorcor14/colour/colour.h>
#include <qorcor14/colour/profile.h>
#include <qorcor14/colour/bitmap.h>
