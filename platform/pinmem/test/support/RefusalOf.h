#pragma once

#include "src/Refusal.h"
#include <string>

namespace pinmem_test {

/// The reason with which `call` was refused; "" when it was not.
template <typename Call>
std::string refusalOf(Call const& call)
{
   try {
      call();
   } catch (pinmem_lib::Refusal const& refusal) {
      return refusal.what();
   }
   return "";
}

} // namespace pinmem_test
