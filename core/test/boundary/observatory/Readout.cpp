#include "boundary/observatory/Readout.h"

#include "boundary/observatory/Module.h"

#include <Kro/Table.h>

namespace Observatory {
namespace {

/// One status in every cache line.
std::uint32_t spread(std::uint32_t head, std::uint32_t index, std::uint32_t /*size*/)
{
   return (index - head) * 64;
}

} // namespace

Readout::Readout(Orvo::String const& name)
   : Entity(name), frame_(Orvo::make<Collection>(nullptr)), status_(Orvo::make<Collection>(spread))
{
   frame_->attributesIs(FrameEntry::kroType);
   frame_->synchronizerIs([this](std::uint32_t /*index*/) { ++synchronized_; });
   status_->attributesIs(StatusEntry::kroType);
   status_->synchronizerIs([this](std::uint32_t index) { status_->reset(index); });
}

struct FrameEntry::Declaration {
   static constexpr auto table = Kro::table<FrameEntry>(
      Kro::field<-1, &FrameEntry::exposure>("exposure"), Kro::field<2, &FrameEntry::pixels>("pixels"));
};

constinit Kro::KroType const FrameEntry::kroType =
   Kro::entryType<FrameEntry, FrameEntry::Declaration>("Observatory::FrameEntry", &module);

struct StatusEntry::Declaration {
   static constexpr auto table = Kro::table<StatusEntry>(Kro::field<2, &StatusEntry::code>("code"));
};

constinit Kro::KroType const StatusEntry::kroType =
   Kro::entryType<StatusEntry, StatusEntry::Declaration>("Observatory::StatusEntry", &module);

struct Readout::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Readout, Kro::Entity>(
      Kro::entries<1, FrameEntry>("frame"),
      Kro::entries<2, StatusEntry>("status"),
      Kro::value<3, &Readout::frame_>("frameControl", Kro::readOnly),
      Kro::value<4, &Readout::status_>("statusControl", Kro::readOnly),
      Kro::value<5, &Readout::synchronized_>("synchronized", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const Readout::kroType =
   Kro::entityType<Readout, Readout::Declaration>("Observatory::Readout", &module);

} // namespace Observatory
