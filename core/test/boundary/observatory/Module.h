#pragma once

#include <Kro/KroModule.h>

namespace Observatory {

/// The plugin's one module: a type of every sort that a client can declare. Nothing of it is exported.
extern Kro::KroModule module;

} // namespace Observatory
