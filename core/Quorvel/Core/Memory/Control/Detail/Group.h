#pragma once

#include <Quorvel/Core/Export.h>

#include <Kro/AllocTrackTypeInfo.h>
#include <Kro/KroType.h>
#include <Kro/SlabAllocated.h>
#include <Orvo/Node.h>

#include <cstdint>

namespace Quorvel::Core::Memory::Control::Detail {

/// One run of entries of a live collection: `head` up to but not including `head` + `size`, the sum taken in 32 bits (a
/// group whose end wraps covers no entry). Fixed for life, shared by the collection and its attributes; nothing is
/// checked.
class QUORVEL_CORE_EXPORT Group final : public Orvo::Node, public Kro::SlabAllocated<Group> {
public:
   Group(std::uint32_t id, std::uint32_t head, std::uint32_t size) : id_(id), head_(head), size_(size) {}

   ~Group() override;

   std::uint32_t id() const noexcept { return id_; }

   std::uint32_t head() const noexcept { return head_; }

   std::uint32_t size() const noexcept { return size_; }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Kro::KroType const& fwkType() const noexcept { return kroType; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;

   std::uint32_t id_;
   std::uint32_t head_;
   std::uint32_t size_;
};

} // namespace Quorvel::Core::Memory::Control::Detail
