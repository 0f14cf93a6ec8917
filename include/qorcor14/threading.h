// qorcor14/threading.h - threading: lock words and critical sections.
#pragma once

#include <qorcor14/threading/lock.h>
