#include "report/figures.h"

#include <algorithm>
#include <cmath>

#include "report/outline.h"
#include "report/place_ellipse.h"

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;
using nlohmann::json;

/// Few samples get larger dots.
double DotRadius(std::size_t samples) { return samples < 100 ? 3.0 : samples < 600 ? 2.2 : 1.6; }

std::string DrawnText(std::size_t samples) {
  const std::size_t step = StepFor(samples);
  if (step <= 1) return std::to_string(samples) + " samples.";
  return std::to_string(samples) + " samples, one in " + std::to_string(step) + " drawn.";
}

/// Part of a plan that is driven without a change of its kind.
struct Stretch {
  std::vector<Vector3d> points;
  bool sampled;
};

std::vector<Stretch> Stretches(const std::vector<Position>& plan) {
  std::vector<Stretch> stretches;
  for (std::size_t i = 1; i < plan.size(); ++i) {
    const bool sampled = plan[i].point_spacing > 0.0;
    if (stretches.empty() || stretches.back().sampled != sampled) {
      stretches.push_back({{Cartesian(plan[i - 1])}, sampled});
    }
    stretches.back().points.push_back(Cartesian(plan[i]));
  }
  return stretches;
}

void Draw(Plot& plot, const View& view, const Outline& outline, double scale,
          std::string_view style) {
  const Point2 place = scale * view.Front(outline.place);
  plot.Cross(place, style);
  if (outline.radius) plot.Circle(place, scale * *outline.radius, style);
  plot.Line(Scaled(view.Front(outline.corners), scale), style);
}

void AddOutline(const View& view, const std::optional<Outline>& outline, Extents& shown) {
  if (!outline) return;
  const double reach = outline->radius.value_or(0.0);
  const Point2 place = view.Front(outline->place);
  for (const double side : {-reach, reach}) shown.Add(place + Point2(side, side));
  shown.Add(view.Front(outline->corners));
}

bool Passes(const RawDataPoint& sample, std::optional<double> threshold) {
  return data_structures::IsUsable(sample, threshold.value_or(-1e300));
}

/// Where a beam meets the plane that is `height` over the plane of the picture; the sample itself,
/// if it never does.
Vector3d AlongTheBeam(const View& view, const Vector3d& sample, double height) {
  const double slope = view.normal.dot(sample);
  const double t = (height + view.normal.dot(view.origin)) / slope;
  return std::isfinite(t) && t > 0.0 ? Vector3d(t * sample) : sample;
}

/// The heights of samples over the plane of the picture that are finite.
std::vector<double> Heights(const View& view, const std::vector<RawDataPoint>& samples) {
  std::vector<double> heights;
  heights.reserve(samples.size());
  for (const RawDataPoint& sample : samples) {
    const double height = view.Height(Cartesian(sample));
    if (std::isfinite(height)) heights.push_back(height);
  }
  return heights;
}

/// The height at which a scan's samples count as of the part: that of the surface where the picture
/// stands on one, however many samples pass beside it; else that of most samples.
double LevelOf(const View& view, const std::vector<RawDataPoint>& samples) {
  return view.on_surface ? 0.0 : Quantile(Heights(view, samples), 0.5);
}

/// Draws the samples of a scan. What lies farther than `reach` out of the plane of the part is
/// drawn where the beam went through that plane, in grey.
/// \returns how many do
std::size_t DrawSamples(Plot& plot, const Measured& measured, const Exchange& exchange,
                        double scale, double reach) {
  const View& view = measured.view;
  const auto& samples = exchange.samples;
  const double middle = LevelOf(view, samples);
  const double radius = DotRadius(samples.size());
  std::size_t far_samples = 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const Vector3d p = Cartesian(samples[i]);
    const bool is_far = std::abs(view.Height(p) - middle) > reach;
    far_samples += is_far ? 1 : 0;
    if (i % StepFor(samples.size()) != 0) continue;
    if (!Passes(samples[i], measured.quality_threshold)) {
      plot.Dot(scale * view.Front(is_far ? AlongTheBeam(view, p, middle) : p), "dropped", radius);
    } else if (is_far) {
      plot.Dot(scale * view.Front(AlongTheBeam(view, p, middle)), "far", radius);
    } else {
      plot.Dot(scale * view.Front(p), "sample", radius, QualityColour(samples[i].quality));
    }
  }
  return far_samples;
}

/// The ellipse of the measured place; the scans that went before show where it came from, and have
/// none.
std::optional<PlaceEllipse> EllipseIn(const Measured& measured, const Exchange& exchange,
                                      const std::optional<Outline>& found, double extent) {
  if (measured.spread == nullptr || !found || &exchange != &measured.exchanges.back()) {
    return std::nullopt;
  }
  return FindPlaceEllipse(*measured.spread, measured.view, measured.view.Front(found->place),
                          extent);
}

/// The words below a front view that hold for every one.
std::string FrontCaption(const View& view, std::size_t far_samples) {
  std::string caption = "Seen from the instrument's side, in " + view.plane +
                        ". Blue lines: the planned path; dots: samples, coloured by quality; " +
                        "open red dots: below the quality threshold. ";
  if (far_samples > 0) {
    caption += "Grey: " + std::to_string(far_samples) +
               " samples far behind or before it, drawn where the beam passed. ";
  }
  return caption;
}

}  // namespace

Figure FrontView(const Measured& measured, const Exchange& exchange, const std::string& title) {
  const View& view = measured.view;
  const auto nominal = measured.request.is_object()
                           ? OutlineOf(measured.request.value("Feature", json()))
                           : std::nullopt;
  const auto found = measured.successful ? OutlineOf(measured.result) : std::nullopt;
  const std::vector<Stretch> plan = Stretches(exchange.points);

  Extents shown;
  for (const Stretch& stretch : plan) shown.Add(view.Front(stretch.points));
  AddOutline(view, nominal, shown);
  AddOutline(view, found, shown);
  const LengthUnit unit = UnitFor(shown.Size());
  const double shape = shown.x.Size() > 0.0 ? shown.y.Size() / shown.x.Size() : 1.0;
  Plot plot = FrontPlot(shown, unit, std::clamp(kWidth * shape, 260.0, 560.0));

  for (const Stretch& stretch : plan) {
    plot.Line(Scaled(view.Front(stretch.points), unit.scale), stretch.sampled ? "plan" : "jump");
  }
  // What stands out of the surface is the part as far as the nominal's height says so.
  const double height =
      measured.request.is_object()
          ? Number(measured.request.value("Feature", json()), "Height").value_or(0.0)
          : 0.0;
  const double reach = 0.25 * shown.Size() + 2.0 * std::abs(height);
  const std::size_t far_samples = DrawSamples(plot, measured, exchange, unit.scale, reach);
  const auto& samples = exchange.samples;
  if (nominal) Draw(plot, view, *nominal, unit.scale, "nominal");
  if (found) Draw(plot, view, *found, unit.scale, "measured");

  const auto ellipse = EllipseIn(measured, exchange, found, shown.Size());
  if (ellipse) plot.Line(Scaled(ellipse->line, unit.scale), "spread");

  std::string caption = FrontCaption(view, far_samples);
  if (nominal) caption += "Dashed grey: the nominal. ";
  if (found) {
    caption += measured.radius_as_told && found->radius
                   ? "Red: as measured, with the radius as told. "
                   : "Red: as measured. ";
  }
  if (ellipse) caption += ellipse->words;
  const std::string alt = title + (ellipse ? ", with the 95 % ellipse of the place" : "");
  return {title, plot.Svg(alt), caption + DrawnText(samples.size())};
}

namespace {

/// Whether the line of each sample is the second, the fourth and so on of the scan. The few samples
/// of a move from line to line count with the line behind them, so that lines take turns.
std::vector<bool> Turns(const std::vector<RawDataPoint>& samples) {
  std::vector<std::size_t> begins;
  std::size_t longest = 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (i == 0 || samples[i].status != samples[i - 1].status) begins.push_back(i);
    longest = std::max(longest, i + 1 - begins.back());
  }
  std::vector<bool> odd(samples.size());
  bool turn = false;
  for (std::size_t k = 0; k < begins.size(); ++k) {
    const std::size_t end = k + 1 < begins.size() ? begins[k + 1] : samples.size();
    for (std::size_t i = begins[k]; i < end; ++i) odd[i] = turn;
    if (10 * (end - begins[k]) >= longest) turn = !turn;
  }
  return odd;
}

/// The heights of a scan's samples along the way; `shown` is the part of them in the picture.
Figure HeightsAlong(const Measured& measured, const Exchange& exchange, const Extent& shown,
                    const std::string& title, const std::string& caption) {
  const View& view = measured.view;
  const auto& samples = exchange.samples;
  // The way along the picture's plane; from one scan line to the next it goes on without a gap.
  std::vector<Point2> way(samples.size());
  double travelled = 0.0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const Vector3d p = Cartesian(samples[i]);
    if (i > 0 && samples[i].status == samples[i - 1].status) {
      const double step = (view.Front(p) - view.Front(Cartesian(samples[i - 1]))).norm();
      if (std::isfinite(step)) travelled += step;
    }
    way[i] = {travelled, view.Height(p)};
  }
  const LengthUnit along = UnitFor(travelled);
  const LengthUnit out = UnitFor(shown.Size());
  Plot plot(kWidth, 300.0, LengthAxis("way along the scan lines", along, 0.0, travelled),
            LengthAxis("out of the plane", out, shown.low, shown.high), false);
  plot.Level(0.0, "nominal", "plane");
  const std::vector<bool> odd = Turns(samples);
  for (std::size_t i = 0; i < samples.size(); i += StepFor(samples.size())) {
    plot.Dot({along.scale * way[i].x(), out.scale * way[i].y()}, odd[i] ? "odd" : "sample",
             DotRadius(samples.size()));
  }
  return {title, plot.Svg(title), caption + " " + DrawnText(samples.size())};
}

}  // namespace

Figure Profile(const Measured& measured, const Exchange& exchange) {
  Extent shown;
  for (const double height : Heights(measured.view, exchange.samples)) shown.Add(height);
  return HeightsAlong(measured, exchange, shown, "Profile along the scan lines",
                      "Height of the samples over " + measured.view.plane +
                          ", towards the instrument. The scan lines stand one after the other, in "
                          "two colours by turns.");
}

namespace {

/// The samples that the surface rests on; none where the analysis did not tell.
std::vector<RawDataPoint> SurfaceSamples(const Measured& measured, const Exchange& exchange) {
  std::vector<RawDataPoint> kept;
  for (std::size_t i = 0; measured.IsRecorded() && i < exchange.samples.size(); ++i) {
    if (measured.stages.fates[i] == features::SampleFate::kSurface) {
      kept.push_back(exchange.samples[i]);
    }
  }
  return kept;
}

}  // namespace

std::optional<Figure> SurfaceDetail(const Measured& measured, const Exchange& exchange) {
  Extent all;
  for (const double height : Heights(measured.view, exchange.samples)) all.Add(height);
  const std::vector<RawDataPoint> surface = SurfaceSamples(measured, exchange);
  std::vector<double> heights =
      Heights(measured.view, surface.empty() ? exchange.samples : surface);
  const double middle = Quantile(heights, 0.5);
  for (double& height : heights) height = std::abs(height - middle);
  // Seven robust standard deviations to either side: the median deviation of a normal scatter is
  // 0.674 of one.
  const double half = 10.0 * Quantile(heights, 0.5);
  if (!(half > 0.0) || all.Size() < 5.0 * half) return std::nullopt;
  Extent shown;
  shown.Add(middle - half);
  shown.Add(middle + half);
  return HeightsAlong(measured, exchange, shown, "Profile, close to the surface",
                      surface.empty() ? "The same, cut down to the heights where most samples lie."
                                      : "The same, cut down to the heights of the surface.");
}

Figure Quality(const Measured& measured, const Exchange& exchange) {
  const auto& samples = exchange.samples;
  const auto threshold = measured.quality_threshold;
  Extent y;
  y.Add(0.0);
  std::size_t dropped = 0;
  for (const RawDataPoint& sample : samples) {
    y.Add(sample.quality);
    if (!Passes(sample, threshold)) ++dropped;
  }
  if (threshold) y.Add(*threshold);
  Plot plot(kWidth, 220.0, {"sample", 0.0, static_cast<double>(samples.size())},
            {"quality", y.low, y.high}, false);
  for (std::size_t i = 0; i < samples.size(); i += StepFor(samples.size())) {
    const bool passes = Passes(samples[i], threshold);
    plot.Dot({static_cast<double>(i), samples[i].quality}, passes ? "sample" : "dropped",
             DotRadius(samples.size()), passes ? QualityColour(samples[i].quality) : std::string());
  }
  if (threshold) plot.Level(*threshold, "level", "threshold " + NumberText(*threshold));
  std::string caption = "Quality of the samples in the order in which they were taken. ";
  if (threshold) {
    caption += std::to_string(dropped) + " of " + std::to_string(samples.size()) +
               " are below the threshold or not finite. ";
  }
  return {"Quality", plot.Svg("Quality of the samples"), caption + DrawnText(samples.size())};
}

}  // namespace libmfx::host::report
