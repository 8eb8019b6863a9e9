#pragma once

/// \file
/// Everything that the library exports.

#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/data_structures/records.h"
#include "libmfx/features/custom_scan.h"
#include "libmfx/features/feature.h"
#include "libmfx/features/pvi.h"
#include "libmfx/features/search_spiral.h"
#include "libmfx/features/unknown_feature.h"
#include "libmfx/geometry/line.h"
#include "libmfx/geometry/plane.h"
#include "libmfx/log/logger.h"
#include "libmfx/math/acc_stats.h"
#include "libmfx/win32_support/exports.h"
#include "libmfx/win32_support/feature_descriptor.h"
