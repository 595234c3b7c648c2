// What tools/check-instructions runs under valgrind: one operation, so many times, in a function of its own.
//
//    orvo-instruction-probe                                     the names of the operations, one a line
//    orvo-instruction-probe <operation> alone|threads <rounds>  with "threads", after the process has had a second thread

#include <Orvo/Node.h>
#include <Orvo/Ptr.h>
#include <Orvo/Publisher.h>
#include <Orvo/String.h>
#include <Orvo/ThreadControl.h>

#include <TolSlab/Slab.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

class SilentNode final : public Orvo::Node {
   Kro::TypeData const& typeData() const noexcept override { std::abort(); }
};

struct CountingSubscriber final : Orvo::Subscriber {
   void changed(Orvo::Change const& change) override { sum += change.attribute; }

   long sum = 0;
};

constexpr TolSlab::TypeInfo type{64, "Probe"};

struct Stage {
   Stage()
   {
      toOne.subscribe(one);
      for (auto& subscriber : eight) {
         toEight.subscribe(subscriber);
      }
      TolSlab::slabFree(TolSlab::slabAlloc(type), type); // the first one takes a slab from the system
   }

   SilentNode node;
   Orvo::Ptr<Orvo::Node> pointer = Orvo::make<SilentNode>();
   Orvo::String text12{"twelve chars"};
   Orvo::String text40{"a text of just forty characters in a row"};
   Orvo::ChangeKey key{"chunk"};
   Orvo::Publisher toNobody{node};
   Orvo::Publisher toOne{node};
   Orvo::Publisher toEight{node};
   CountingSubscriber one;
   std::array<CountingSubscriber, 8> eight;
};

// The compiler must take it that the object is read and everything in memory may have changed.
template <class Object>
void look(Object const& object)
{
   asm volatile("" : : "r"(&object) : "memory");
}

} // namespace

// Counted is what runs between entry and end of a function of this name space.
namespace Probe {

[[gnu::noinline]] void pointerCopyAndDrop(std::size_t rounds, Stage& stage)
{
   for (; rounds > 0; --rounds) {
      auto const copy = stage.pointer;
      look(copy);
   }
}

[[gnu::noinline]] void textCopy12(std::size_t rounds, Stage& stage)
{
   for (; rounds > 0; --rounds) {
      auto const copy = stage.text12;
      look(copy);
   }
}

[[gnu::noinline]] void textCopy40(std::size_t rounds, Stage& stage)
{
   for (; rounds > 0; --rounds) {
      auto const copy = stage.text40;
      look(copy);
   }
}

[[gnu::noinline]] void slabAllocateAndFree(std::size_t rounds, Stage&)
{
   for (; rounds > 0; --rounds) {
      auto* const object = TolSlab::slabAlloc(type);
      look(object);
      TolSlab::slabFree(object, type);
   }
}

[[gnu::noinline]] void publishToNobody(std::size_t rounds, Stage& stage)
{
   for (; rounds > 0; --rounds) {
      stage.toNobody.publishChangeRecursive(258, "chunk", stage.key);
   }
}

[[gnu::noinline]] void publishToOne(std::size_t rounds, Stage& stage)
{
   for (; rounds > 0; --rounds) {
      stage.toOne.publishChangeRecursive(258, "chunk", stage.key);
   }
}

[[gnu::noinline]] void publishToEight(std::size_t rounds, Stage& stage)
{
   for (; rounds > 0; --rounds) {
      stage.toEight.publishChangeRecursive(258, "chunk", stage.key);
   }
}

} // namespace Probe

namespace {

struct Operation {
   char const* name;
   void (*run)(std::size_t, Stage&);
};

constexpr std::array<Operation, 7> operations{{
   {"pointerCopyAndDrop", Probe::pointerCopyAndDrop},
   {"textCopy12", Probe::textCopy12},
   {"textCopy40", Probe::textCopy40},
   {"slabAllocateAndFree", Probe::slabAllocateAndFree},
   {"publishToNobody", Probe::publishToNobody},
   {"publishToOne", Probe::publishToOne},
   {"publishToEight", Probe::publishToEight},
}};

} // namespace

int main(int argumentCount, char** arguments)
{
   if (argumentCount == 1) {
      for (auto const& operation : operations) {
         std::puts(operation.name);
      }
      return EXIT_SUCCESS;
   }
   if (argumentCount != 4) {
      return EXIT_FAILURE;
   }
   std::string_view const name = arguments[1];
   std::string_view const mode = arguments[2];
   auto const rounds = std::strtoul(arguments[3], nullptr, 10);
   if (mode == "threads") {
      Orvo::ThreadControl::forceThreadsInUse();
   }
   Stage stage;
   for (auto const& operation : operations) {
      if (operation.name == name) {
         operation.run(rounds, stage);
         return EXIT_SUCCESS;
      }
   }
   return EXIT_FAILURE;
}
