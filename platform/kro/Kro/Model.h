#pragma once

#include <Kro/Export.h>
#include <Kro/KroModule.h>

namespace Kro {

/// The module of the framework's own types: `Kro::Entity` and `Kro::Dir`.
extern KRO_EXPORT KroModule kroModule;

} // namespace Kro
