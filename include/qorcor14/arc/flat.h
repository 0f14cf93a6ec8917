/* qorcor14/arc/flat.h - the shape of a circular arc from its bulge alone, as
 * four flat functions with unmangled names, callable from C as well as C++.
 *
 * Every function works on an arc whose chord has length 1: the chord runs
 * along the "along" axis from -0.5 (start) to +0.5 (end), and the "offset"
 * axis is perpendicular to it, positive on the side a positive bulge bulges
 * to. The bulge b is tan(theta / 4) for an arc subtending the signed angle
 * theta, so the arc's middle lies at offset b / 2. Scale lengths and
 * distances by the chord length, areas by its square.
 *
 * Each function switches to a series or polynomial for bulges near 0, where
 * the closed forms cancel, so that the results keep nearly full precision
 * from tiny to very large bulges. Nothing is checked: a NaN argument gives
 * NaN results.
 */
#pragma once

#include <qorcor14/config.h>

#if defined(__cplusplus)
#define QORCOR14_ARC_QUERY [[nodiscard]]
extern "C" {
#else
#define QORCOR14_ARC_QUERY
#endif

/* Arc length divided by chord length: at least 1, exactly 1 for b == 0, pi/2
 * for a half circle (b = +-1), even in b.
 *
 * Example: QORArcLength(1) * 2 is pi, the length of a half circle on a
 * chord of 2. */
QORCOR14_ARC_QUERY QORCOR14_API double QORArcLength(double b);

/* Area between the chord and the arc for a unit chord, with the sign of b:
 * pi/8 for b = 1 (half a disc of diameter 1), 0 for b == 0. */
QORCOR14_ARC_QUERY QORCOR14_API double QORArcSegmentArea(double b);

/* Offset from the chord of the centre of gravity of that area, for a unit
 * chord, with the sign of b: 2/(3 pi) for b = 1, 0 for b == 0. */
QORCOR14_ARC_QUERY QORCOR14_API double QORArcSegmentCoG(double b);

/* Splits the arc of bulge b at the point whose angle from the arc's middle
 * is t times the half angle (t = -1 the start, 0 the middle, +1 the end),
 * and writes all six outputs, in the unit-chord frame of the whole arc:
 *   bulge1                     the bulge of the arc from the start to the point,
 *   offset, along              the point,
 *   tangentOffset, tangentAlong the unit tangent there, in the direction of
 *                              travel from start to end,
 *   bulge2                     the bulge of the arc from the point to the end.
 *
 * Example: QORArcSplit(0, 1, ...) halves a half circle: bulge1 = bulge2 =
 * tan(pi/8), the point (offset 0.5, along 0), the tangent (0, 1).
 *
 * Note: no pointer is checked; all six must be valid. */
QORCOR14_API void QORArcSplit(double t, double b, double* bulge1, double* offset, double* along, double* tangentOffset,
                              double* tangentAlong, double* bulge2);

#if defined(__cplusplus)
}
#endif

#undef QORCOR14_ARC_QUERY
