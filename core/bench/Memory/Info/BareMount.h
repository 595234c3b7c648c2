#pragma once

#include "BareNodes.h"

#include <Quorvel/Core/Memory/Info/Mount.h>

namespace Quorvel::Core::Bench {

using Memory::Info::Mount;

/// The floor under a mount of one collection: the bare nodes of its two views.
struct BareMount {
   explicit BareMount(Mount const& mount)
      : given(*mount.collection().begin()), derived(*mount.collectionInternal().begin())
   {}

   bool operator==(BareMount const&) const = default;

   BareNodes given;
   BareNodes derived;
};

} // namespace Quorvel::Core::Bench
