#include <Kro/Exception.h>

#include <Kro/KroModule.h>

namespace Kro {

// Defined here, once, so that each exception has one type in the process and can be caught in every library.
Exception::~Exception() = default;
RangeException::~RangeException() = default;
EntityNotFoundException::~EntityNotFoundException() = default;
TypeNotFoundException::~TypeNotFoundException() = default;
AttrNotFoundException::~AttrNotFoundException() = default;
TypeException::~TypeException() = default;
UnhashableException::~UnhashableException() = default;
ModuleException::~ModuleException() = default;
ParseException::~ParseException() = default;
NewEntityArgsException::~NewEntityArgsException() = default;
ReinstantiatingException::~ReinstantiatingException() = default;
ArgNullPointerException::~ArgNullPointerException() = default;

ParseException::ParseException(std::size_t position, std::string_view expected, std::string_view found)
   : Exception(Orvo::join("position=", position, ": ", expected, " is expected, but ", found)), position_(position)
{}

ReinstantiatingException::ReinstantiatingException(
   Orvo::String const& module, Orvo::String const& attribute, Orvo::String const& existing, Orvo::String const& asked,
   Orvo::String const& member)
   : Exception(Orvo::join(
        module, member.empty() ? "" : " ", member, ": ", attribute, "=", asked, " is asked for, but ", attribute, "=",
        existing, " exists")),
     attribute_(attribute),
     existing_(existing),
     asked_(asked)
{}

ArgNullPointerException::ArgNullPointerException(Orvo::String const& module, Orvo::String const& attribute)
   : Exception(Orvo::join(module, ": ", attribute, " cannot be null")), attribute_(attribute)
{}

void throwMutatorReinstantiating(
   KroModule const& module, char const* attribute, Orvo::String const& existing, Orvo::String const& asked,
   Orvo::String const& member)
{
   throw ReinstantiatingException(module.source, attribute, existing, asked, member);
}

void throwMutatorArgNullPointerException(KroModule const& module, char const* attribute)
{
   throw ArgNullPointerException(module.source, attribute);
}

void throwNewEntityArgsException(
   Orvo::String const& typeName, Orvo::String const& entityName, Orvo::String const& reason)
{
   throw NewEntityArgsException(
      Orvo::join("an entity of type '", typeName, "' named '", entityName, "' cannot be made: ", reason));
}

void throwNewEntityArgsException(Orvo::String const& typeName, Orvo::String const& reason)
{
   throw NewEntityArgsException(Orvo::join("an object of type '", typeName, "' cannot be made: ", reason));
}

} // namespace Kro
