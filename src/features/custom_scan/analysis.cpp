#include "libmfx/features/custom_scan.h"

namespace libmfx::features {

bool CustomScan::Analyze() {
  if (_output_data_by_segment) {
    _raw_data.clear();
    _filtered_data.clear();
    return true;
  }
  if (_has_error) return false;
  _filtered_data.clear();
  _filtered_data.reserve(_raw_data.size() / 8);
  for (const RawDataPoint& sample : _raw_data) {
    if (data_structures::IsUsable(sample, _quality_threshold)) _filtered_data.push_back(sample);
  }
  return !_filtered_data.empty() || Fail("All points filtered out");
}

}  // namespace libmfx::features
