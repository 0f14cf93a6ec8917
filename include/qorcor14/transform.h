// qorcor14/transform.h - the transform family: the polymorphic root with its
// compound and sliced kinds, the affine transforms (uniform and non-uniform)
// and the perspective transforms, in the plane and in space.
#pragma once

#include <qorcor14/transform/transform.h>
#include <qorcor14/transform/affine.h>
#include <qorcor14/transform/uniform.h>
#include <qorcor14/transform/non_uniform.h>
#include <qorcor14/transform/projective.h>
