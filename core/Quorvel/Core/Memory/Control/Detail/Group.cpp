#include <Quorvel/Core/Memory/Control/Detail/Group.h>

namespace Quorvel::Core::Memory::Control::Detail {

constinit Kro::AllocTrackTypeInfo Group::memAllocationTracker_{
   sizeof(Group), "Quorvel::Core::Memory::Control::Detail::Group"};

Group::~Group()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
}

} // namespace Quorvel::Core::Memory::Control::Detail
