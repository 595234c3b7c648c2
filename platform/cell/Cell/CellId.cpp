#include <Cell/CellId.h>

#include "../src/IdSource.h"

namespace Cell {

std::uint32_t cellId()
{
   static std::uint32_t const id = Detail::findCellId(Detail::usualFile); // made anew after an exception
   return id;
}

} // namespace Cell
