// qorcor14/geometry.h - every geometry primitive: angles, vectors and points,
// square matrices, extents, and the integer points, vectors and extents.
#pragma once

#include <qorcor14/geometry/angle.h>
#include <qorcor14/geometry/vector.h>
#include <qorcor14/geometry/matrix.h>
#include <qorcor14/geometry/extent.h>
#include <qorcor14/geometry/integer.h>
