#include "boundary/observatory/Module.h"

#include "boundary/observatory/Instrument.h"
#include "boundary/observatory/Journal.h"
#include "boundary/observatory/Readout.h"
#include "boundary/observatory/Values.h"

namespace Observatory {
namespace {

constexpr Kro::KroType const* types[] = {
   &Angle::kroType,  &Reading::kroType, &Night::kroType,      &Lens::kroType,        &Instrument::kroType,
   &Camera::kroType, &Journal::kroType, &FrameEntry::kroType, &StatusEntry::kroType, &Readout::kroType};
constexpr Kro::KroType const* otherTypes[] = {
   &Kro::Entity::kroType, &Quorvel::Core::Memory::Control::Collection::kroType};

} // namespace

constinit Kro::KroModule module{"Observatory", "core/test/boundary/observatory", types, otherTypes};

namespace {

[[maybe_unused]] bool const isRegistered = (Kro::kroModuleIs(module), true);

} // namespace
} // namespace Observatory
