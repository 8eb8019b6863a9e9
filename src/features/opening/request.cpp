#include "features/shared/request_keys.h"
#include "features/shared/settings.h"
#include "libmfx/features/opening.h"

namespace libmfx::features {

void Opening::SharedSettings(shared::Settings& settings) { settings.SearchAndRescan(); }

void Opening::SharedKeys(shared::RequestKeys& keys) { keys.SearchAndRescan(); }

}  // namespace libmfx::features
