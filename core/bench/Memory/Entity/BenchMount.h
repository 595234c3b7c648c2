#pragma once

#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Entity.h>
#include <Kro/KroModule.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Quorvel::Core::Bench {

/// The mount type of the manager's benchmarks: one collection `buffer`, whose entries are pages. Its module registers
/// before `main`.
class BenchMount final : public Kro::Entity {
public:
   explicit BenchMount(Orvo::String const& name);
   ~BenchMount() override;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;

   Orvo::Ptr<Memory::Control::Collection> buffer;

private:
   struct Declaration;
};

/// One field, and as many groups of one entry as there are names: each chunk has a group of its own, which is the most
/// that a chunk can cost.
Memory::Info::Mount describeMount(Orvo::String const& path, std::vector<std::string> const& chunkNames);

/// "controller0.buffer.<prefix>.<number>", for each number below `count`.
std::vector<std::string> chunkNames(std::string const& prefix, std::int64_t count);

/// Of every chunk, in bytes.
inline constexpr std::uint32_t chunkSize = 4096;

} // namespace Quorvel::Core::Bench
