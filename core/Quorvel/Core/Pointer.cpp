#include <Quorvel/Core/Pointer.h>

namespace Quorvel::Core::Memory::Detail {

Orvo::String valueToStrep()
{
   return "Quorvel::Core::Memory::Pointer<...>";
}

} // namespace Quorvel::Core::Memory::Detail
