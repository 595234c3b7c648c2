#pragma once

#include <Kro/TypeData.h>

#include <Orvo/String.h>

#include <concepts>
#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

namespace Kro {

/// Base of every exception of the framework. None of them is a std::invalid_argument.
class KRO_EXPORT Exception : public std::exception {
public:
   explicit Exception(Orvo::String const& text) : text_(text) {}

   ~Exception() override;

   /// @return the text (borrowed: valid while the exception lives)
   char const* what() const noexcept override { return text_.c_str(); }

private:
   Orvo::String text_;
};

/// An index outside every range that was offered.
class KRO_EXPORT RangeException final : public Exception {
public:
   using Exception::Exception;
   ~RangeException() override;
};

/// No entity of that name or at that path.
class KRO_EXPORT EntityNotFoundException final : public Exception {
public:
   using Exception::Exception;
   ~EntityNotFoundException() override;
};

/// No registered type of that name.
class KRO_EXPORT TypeNotFoundException final : public Exception {
public:
   using Exception::Exception;
   ~TypeNotFoundException() override;
};

/// The type has no attribute of that name.
class KRO_EXPORT AttrNotFoundException final : public Exception {
public:
   using Exception::Exception;
   ~AttrNotFoundException() override;
};

/// A slot of one type was used as another.
class KRO_EXPORT TypeException final : public Exception {
public:
   using Exception::Exception;
   ~TypeException() override;
};

/// The hash of a value was asked for whose type has none.
class KRO_EXPORT UnhashableException final : public Exception {
public:
   using Exception::Exception;
   ~UnhashableException() override;
};

/// A module that cannot be registered: a type name taken twice, a base that no module holds, a module name taken twice.
class KRO_EXPORT ModuleException final : public Exception {
public:
   using Exception::Exception;
   ~ModuleException() override;
};

/// A text that is not the text form of the value that is read from it.
class KRO_EXPORT ParseException final : public Exception {
public:
   /// @param position where the reader stood, in bytes from the begin of the text
   /// @param expected what should stand there, in words
   /// @param found    what stands there instead, in words
   ParseException(std::size_t position, std::string_view expected, std::string_view found);
   ~ParseException() override;

   std::size_t position() const noexcept { return position_; }

private:
   std::size_t position_;
};

/// An object cannot be made with these arguments.
class KRO_EXPORT NewEntityArgsException final : public Exception {
public:
   using Exception::Exception;
   ~NewEntityArgsException() override;
};

/// A member exists already, made with another value of a constructor attribute.
class KRO_EXPORT ReinstantiatingException final : public Exception {
public:
   /// @param member which member of the collection: part of the text alone; may be empty
   ReinstantiatingException(
      Orvo::String const& module, Orvo::String const& attribute, Orvo::String const& existing,
      Orvo::String const& asked, Orvo::String const& member);
   ~ReinstantiatingException() override;

   Orvo::String const& attribute() const noexcept { return attribute_; }

   Orvo::String const& existing() const noexcept { return existing_; }

   Orvo::String const& asked() const noexcept { return asked_; }

private:
   Orvo::String attribute_;
   Orvo::String existing_;
   Orvo::String asked_;
};

/// A null entity was given where a member of a collection is to be made from it.
class KRO_EXPORT ArgNullPointerException final : public Exception {
public:
   ArgNullPointerException(Orvo::String const& module, Orvo::String const& attribute);
   ~ArgNullPointerException() override;

   Orvo::String const& attribute() const noexcept { return attribute_; }

private:
   Orvo::String attribute_;
};

/// @param member which member of the collection, for the text: its kind and key
/// @throws ReinstantiatingException always
[[noreturn]] KRO_EXPORT void throwMutatorReinstantiating(
   KroModule const& module, char const* attribute, Orvo::String const& existing, Orvo::String const& asked,
   Orvo::String const& member = {});

/// Like the one above, for numbers and flags.
template <std::integral T>
[[noreturn]] void throwMutatorReinstantiating(
   KroModule const& module, char const* attribute, T existing, T asked, Orvo::String const& member = {})
{
   auto const text = [](T value) {
      if constexpr (std::same_as<T, bool>) {
         return Orvo::String(value ? "true" : "false");
      } else {
         return Orvo::String(std::to_string(value));
      }
   };
   throwMutatorReinstantiating(module, attribute, text(existing), text(asked), member);
}

/// @throws ArgNullPointerException always
[[noreturn]] KRO_EXPORT void throwMutatorArgNullPointerException(KroModule const& module, char const* attribute);

/// @throws NewEntityArgsException always: what was asked for, and what stands in the way
[[noreturn]] KRO_EXPORT void
throwNewEntityArgsException(Orvo::String const& typeName, Orvo::String const& entityName, Orvo::String const& reason);

/// Like the one above, for an object that has no name yet.
[[noreturn]] KRO_EXPORT void throwNewEntityArgsException(Orvo::String const& typeName, Orvo::String const& reason);

} // namespace Kro
