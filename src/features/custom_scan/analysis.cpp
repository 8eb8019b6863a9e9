#include <vector>

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
  std::vector<SampleFate>& fates = Record().fates;
  fates.assign(_raw_data.size(), SampleFate::kUnusable);
  for (std::size_t i = 0; i < _raw_data.size(); ++i) {
    if (!data_structures::IsUsable(_raw_data[i], _quality_threshold)) continue;
    _filtered_data.push_back(_raw_data[i]);
    fates[i] = SampleFate::kFitted;
  }
  return !_filtered_data.empty() || Fail("All points filtered out");
}

}  // namespace libmfx::features
