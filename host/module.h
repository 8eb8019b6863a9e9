#pragma once

#include "sim/module.h"

/// \file
/// Modules for the rooms that know the host and not the virtual instrument.

namespace libmfx::host {

using sim::LoadModule;
using sim::ModuleError;
using sim::WhatFails;

}  // namespace libmfx::host
