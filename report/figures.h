#pragma once

#include <optional>
#include <string>

#include "report/type_figures.h"

/// \file
/// The pictures that every measurement has, made from what crosses the library's boundary.

namespace libmfx::host::report {

/// The samples of one scan from the front, coloured by quality, over the planned path; the nominal
/// and what was measured of it are drawn in, where request and result tell a place.
Figure FrontView(const Measured& measured, const Exchange& exchange, const std::string& title);

/// How far the samples of one scan stand out of the plane of the picture, along the way.
Figure Profile(const Measured& measured, const Exchange& exchange);

/// The same, cut down to where most samples lie; nothing if the whole profile shows that already.
std::optional<Figure> SurfaceDetail(const Measured& measured, const Exchange& exchange);

/// Quality of the samples of one scan, in order, with the threshold.
Figure Quality(const Measured& measured, const Exchange& exchange);

}  // namespace libmfx::host::report
