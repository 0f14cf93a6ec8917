// qorcor14/threading.h - threading: lock words and critical sections, the
// one-worker task scheduler and the draw thread.
#pragma once

#include <qorcor14/threading/lock.h>
#include <qorcor14/threading/scheduler.h>
#include <qorcor14/threading/draw_thread.h>
