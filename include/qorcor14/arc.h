// qorcor14/arc.h - circular arcs given by their end points and bulge: the
// flat per-unit-chord functions, QOR::Arc<2>, the arc in the plane, and
// QOR::Arc<3>, the arc in space.
#pragma once

#include <qorcor14/arc/flat.h>
#include <qorcor14/arc/planar_arc.h>
#include <qorcor14/arc/spatial_arc.h>
