#pragma once

#include <Kro/GenericIf.h>
#include <Kro/KroType.h>

#include <string>
#include <vector>

namespace Quorvel::Core::Test {

/// @return one line for each attribute that a type declares itself, in order, with what reflection may do to an object:
///         "2 name: value text [get set]", "3 all: collection text -> Chunk, hash; is(Chunk) del(text) -> Chunk delAll() []",
///         "5 add: operation(uint32) []". The common prefix of the core's type names is left out.
std::vector<std::string> attributesOf(Kro::GenericIf const& object);

/// @return the numbers from -400 to 400 that neither the type nor a type that it inherits from declares, but that are not
///         refused with result code 2 by every access
std::vector<int> numbersNotRefused(Kro::GenericIf const& object);

/// @return the parameters of each constructor that reflection can call, and what it makes: "(text) -> Ptr<Manager>"
std::vector<std::string> constructorsOf(Kro::KroType const& type);

/// @return the full names of the types of a module, in order
std::vector<std::string> typesOf(Kro::KroModule const& module);

} // namespace Quorvel::Core::Test
