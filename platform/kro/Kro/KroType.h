#pragma once

#include <Kro/NameIndex.h>
#include <Kro/TypeData.h>

namespace Orvo {
class Node;
}

namespace Kro {

class GenericIf;

/// A type by its attributes: inherited ones are found as well, own ones first.
struct KRO_EXPORT KroTypeBase : TypeData {
   constexpr explicit KroTypeBase(TypeData const& data) : TypeData(data), nameHash(Detail::hashOfName(data.name)) {}

   std::uint32_t nameHash; ///< of the full name

   /// @return the attribute of that name
   /// @throws AttrNotFoundException naming type and attribute
   KroAttr const& attr(std::string_view wanted) const;

   /// @return the attribute of that name or number, or null (borrowed: records live as long as the process)
   KroAttr const* findAttr(std::string_view wanted) const noexcept
   {
      if (auto const* own = Detail::probe(names, wanted, Detail::NameEnds(wanted))) [[likely]] {
         return own;
      }
      return searchAttr(wanted);
   }

   KroAttr const* findAttr(int number) const noexcept
   {
      // A number below the first one wraps to a huge index.
      auto const index = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(number) - firstNumber);
      if (index < byNumber.size() && byNumber[index] != noAttribute) [[likely]] {
         return &attrs[byNumber[index]];
      }
      return searchAttr(number);
   }

   /// @return whether this type is `wanted` or inherits from it
   bool isA(TypeData const& wanted) const noexcept;

private:
   KroAttr const* searchAttr(int number) const noexcept;
   KroAttr const* searchAttr(std::string_view wanted) const noexcept;
};

/// A framework type: what `fwkType()` answers and `typeNode()` finds.
struct KRO_EXPORT KroType final : KroTypeBase {
   using KroTypeBase::KroTypeBase;

   /// @return the generic interface of this type, bound to no object
   GenericIf genericIf() const noexcept;

   /// The next type with the same bucket in the list of registered types, which is the only one to write it.
   mutable KroType const* nextInBucket = nullptr;

   /// @return the process-wide index of the type: the first index of its module plus its position in it
   /// @throws TypeNotFoundException when its module is not registered or does not list it
   /// Cost: linear in the types of the module.
   std::uint16_t index() const;
};

/// @return the type of a slot, in words: "text", "Kro::Dir*", "Orvo::Ptr<Kro::Dir>"; "nothing" for none
KRO_EXPORT Orvo::String nameOf(TypeRef type);

/// @return the type of a live node
KRO_EXPORT KroType const& fwkType(Orvo::Node const& node) noexcept;

} // namespace Kro
