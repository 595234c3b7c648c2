#pragma once

#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>

#include <string>
#include <string_view>
#include <vector>

namespace Quorvel::Core::Test {

/// The files of the plugins, which one program takes from this build's compiler and another from the other compiler.
struct ObservatoryPaths {
   char const* opener;       ///< a program that opens plugins and prints the modules that there are then
   char const* observatory;  ///< the plugin with a type of every sort, in the module `Observatory`
   char const* sameModule;   ///< its module has the name of the observatory's
   char const* sameType;     ///< its type has the name of one of the observatory's
   char const* sameTypeLate; ///< the same, but it registers in its function `registerImpostor` alone
};

extern ObservatoryPaths const observatoryPaths;

/// Opens a plugin for itself alone and for good, as a program does with a driver.
/// @return the handle for `dlsym`
/// @throws std::runtime_error when the linker refuses it. What its initialisers throw ends the process.
void* openPlugin(char const* path);

/// The observatory's types by their short names, and what a program can do with them without knowing more. The plugin is
/// opened by the first call of any.
namespace Observatory {

Kro::KroModule const& module();

/// @throws Kro::TypeNotFoundException
Kro::KroType const& type(std::string_view name);

/// @return the text form of a value, or of an entity with its attributes; "null" of what is bound to nothing
std::string textOf(Kro::GenericIf const& object);

/// @return the text form of an attribute that can be read: read by its number into a slot of its type
std::string textOf(Kro::GenericIf const& object, int number);

/// @return what a walk shows, in its order: "<key>=<element>", of a set "<key>"
std::vector<std::string> elementsOf(Kro::GenericIf const& object, int number);

} // namespace Observatory
} // namespace Quorvel::Core::Test
