// Compiles and runs the lines of docs/life-of-a-mount.md, which the build copies into snippet.inc.

#include "../live-memory/Rings.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Dir.h>
#include <Kro/Exception.h>
#include <Orvo/Subscriber.h>

#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Control = Quorvel::Core::Memory::Control;
namespace Entity = Quorvel::Core::Memory::Entity;
namespace Info = Quorvel::Core::Memory::Info;

int main()
{
#include "snippet.inc"

   return 0;
}
