// qorcor14/platform.h - platform services: typed registry keys, file names,
// URLs and process glue.
#pragma once

#include <qorcor14/platform/registry.h>
#include <qorcor14/platform/filenames.h>
#include <qorcor14/platform/urls.h>
#include <qorcor14/platform/process.h>
