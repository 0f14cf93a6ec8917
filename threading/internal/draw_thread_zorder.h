// Z-order questions the draw thread asks: which of two windows is above, and
// which queued window is highest on screen.
#pragma once

#include <qorcor14/threading/draw_thread.h>

namespace QOR::internal {

// Whether `a` is above `b` on screen: compared through their chains of
// ancestors, by sibling order at the first level where the chains differ. An
// ancestor is not above its descendant; a window is above itself.
bool isAbove(HWND a, HWND b);

// The entry of `queue` (two or more entries) whose window is met first when
// walking the top-level windows from the top and, inside each that is or
// holds a queued window, its descendants before itself; the end when none is
// met.
Threading::DrawThread::Queue::iterator highestQueued(Threading::DrawThread::Queue& queue);

}  // namespace QOR::internal
