#pragma once

#include <cstdlib>
#include <memory>
#include <string>
#include <typeinfo>

#include <cxxabi.h>

namespace Quorvel::Core::Test {

/// @return a type's full name, as it stands in a source
inline std::string typeName(std::type_info const& type)
{
   int status = 0;
   std::unique_ptr<char, void (*)(void*)> const name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
   return name != nullptr ? name.get() : type.name();
}

} // namespace Quorvel::Core::Test
