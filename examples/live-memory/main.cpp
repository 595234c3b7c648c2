// Compiles and runs the lines of docs/live-memory.md, which the build copies into snippet.inc.

#include "Rings.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Exception.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <vector>

namespace Control = Quorvel::Core::Memory::Control;
namespace Entity = Quorvel::Core::Memory::Entity;

int main()
{
#include "snippet.inc"

   return 0;
}
