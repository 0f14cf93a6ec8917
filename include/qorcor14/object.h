// qorcor14/object.h - the object model: reference-counted handles, chunked
// collections, event subscriptions, quarks, identifiers and UUIDs.
#pragma once

#include <qorcor14/object/collection.h>
#include <qorcor14/object/events.h>
#include <qorcor14/object/handle.h>
#include <qorcor14/object/identifier.h>
#include <qorcor14/object/quark.h>
#include <qorcor14/object/uuid.h>
