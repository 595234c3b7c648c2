// Compiles and runs the lines of the project's README, which the build copies into snippet.inc.

#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <array>
#include <cstdio>

namespace Entity = Quorvel::Core::Memory::Entity;
namespace Info = Quorvel::Core::Memory::Info;
using Quorvel::Core::Memory::Control::Collection;

namespace {

extern Kro::KroModule module;

struct Submission {
   std::array<std::byte, 64> command;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct Submission::Declaration {
   static constexpr auto table = Kro::table<Submission>(Kro::field<2, &Submission::command>("command"));
};

constinit Kro::KroType const Submission::kroType =
   Kro::entryType<Submission, Submission::Declaration>("Submission", &module);

class QueuePairs : public Kro::Entity {
public:
   explicit QueuePairs(Orvo::String const& name) : Entity(name), submission(Orvo::make<Collection>(nullptr))
   {
      submission->attributesIs(Submission::kroType);
      submission->synchronizerIs([](std::uint32_t /*index*/) {});
   }

   ~QueuePairs() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   struct Declaration;
   static Kro::KroType const kroType;

   Orvo::Ptr<Collection> submission;
};

struct QueuePairs::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<QueuePairs, Kro::Entity>(
      Kro::entries<1, Submission>("submission"),
      Kro::value<2, &QueuePairs::submission>("submissionControl", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const QueuePairs::kroType =
   Kro::entityType<QueuePairs, QueuePairs::Declaration>("QueuePairs", &module);

constexpr Kro::KroType const* types[] = {&Submission::kroType, &QueuePairs::kroType};
constinit Kro::KroModule module{"Readme", "examples/readme", types, {}};

} // namespace

int main()
{
   Kro::kroModuleIs(module);

#include "snippet.inc"

   auto const first = queues->submission->addressBus(2, 0);
   auto const start = queues->submission->addressVirtual(2, 0);
   std::printf("entry 17 lies %lu bytes behind entry 0 for the device, %lu for software\n", bus - first, here - start);
   return bus - first == 1088 && here - start == 1088 ? 0 : 1;
}
