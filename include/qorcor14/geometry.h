// qorcor14/geometry.h - every geometry primitive: angles, vectors and points,
// square matrices, extents, the integer points, vectors and extents, and
// planes and lines.
#pragma once

#include <qorcor14/geometry/angle.h>
#include <qorcor14/geometry/vector.h>
#include <qorcor14/geometry/matrix.h>
#include <qorcor14/geometry/extent.h>
#include <qorcor14/geometry/integer.h>
#include <qorcor14/geometry/plane.h>
