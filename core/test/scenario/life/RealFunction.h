#pragma once

#include <cstdlib>

#include <dlfcn.h>

namespace Quorvel::Core::Test {

/// @return the function of that symbol that the program's own definition stands before
template <class Function>
Function* realFunction(char const* symbol)
{
   auto* const found = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, symbol));
   if (found == nullptr) {
      std::abort();
   }
   return found;
}

} // namespace Quorvel::Core::Test
