#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>
#include <Kro/OrderedMap.h>
#include <Kro/Table.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Reflection, ns an access: a number of 32 bits by its attribute's number and name, and an operation, beside a virtual
// getter and setter; equality of a value with 4 fields beside the compiler's own; a walk over a collection beside a
// range-for, all elements together; a type by its name among those of this program.

namespace {

/// The floor: what reaches a field of an object of unknown type without reflection.
class Accessor {
public:
   Accessor() = default;
   Accessor(Accessor const&) = delete;
   Accessor& operator=(Accessor const&) = delete;
   virtual ~Accessor() = default;
   virtual std::uint32_t size() const = 0;
   virtual void sizeIs(std::uint32_t size) = 0;
};

template <int>
class Holder final : public Accessor {
public:
   std::uint32_t size() const override { return size_; }

   void sizeIs(std::uint32_t size) override { size_ = size; }

private:
   std::uint32_t size_ = 1;
};

/// As many fields as a description of a piece of memory has.
struct Plain {
   Orvo::String attribute;
   Orvo::String name;
   std::uint32_t size = 0;
   bool isOpen = false;

   friend bool operator==(Plain const&, Plain const&) = default;
};

class KroNumber final : public Kro::OrderedNode<KroNumber, std::int32_t, std::uint32_t> {
public:
   using OrderedNode::OrderedNode;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;
};

constinit Kro::AllocTrackTypeInfo KroNumber::memAllocationTracker_{sizeof(KroNumber), "Bench::KroNumber"};

struct Numbers {
   Kro::OrderedMap<KroNumber> number;

   static Kro::KroType const kroType;

   struct Declaration;
};

struct Sut {
   Orvo::String attribute;
   Orvo::String name;
   std::uint32_t size = 0;
   bool isOpen = false;

   void sizeIs(std::uint32_t newSize) { size = newSize; }

   static Kro::KroType const kroType;

   struct Declaration;

   friend bool operator==(Sut const& a, Sut const& b);
};

struct Sut::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Sut>(
      Kro::value<2, &Sut::attribute>("nameAttribute"), Kro::value<3, &Sut::name>("name"),
      Kro::value<4, &Sut::size>("size"), Kro::value<5, &Sut::isOpen>("isOpen"),
      Kro::operation<6, &Sut::sizeIs>("sizeIs"));
   // clang-format on
};

struct Numbers::Declaration {
   static constexpr auto table = Kro::table<Numbers>(Kro::collection<2, &Numbers::number>("number"));
};

bool operator==(Sut const& a, Sut const& b)
{
   return Kro::equal<Sut, Sut::Declaration>(a, b);
}

extern Kro::KroModule benchModule;
constinit Kro::KroType const Sut::kroType = Kro::valueType<Sut, Sut::Declaration>("Bench::Sut", &benchModule);
constinit Kro::KroType const Numbers::kroType =
   Kro::valueType<Numbers, Numbers::Declaration>("Bench::Numbers", &benchModule);
constexpr Kro::KroType const* types[] = {&Sut::kroType, &Numbers::kroType};
constinit Kro::KroModule benchModule{"Bench", "ReflectionBench", types, {}};
[[maybe_unused]] bool const isRegistered = (Kro::kroModuleIs(benchModule), true);

/// Objects of two classes, so that the compiler cannot know which is called.
std::vector<std::unique_ptr<Accessor>> accessors()
{
   std::vector<std::unique_ptr<Accessor>> all;
   all.push_back(std::make_unique<Holder<0>>());
   all.push_back(std::make_unique<Holder<1>>());
   return all;
}

void virtualGetter(benchmark::State& state)
{
   auto const all = accessors();
   auto* object = all[0].get();
   for (auto _ : state) {
      benchmark::DoNotOptimize(object);
      benchmark::DoNotOptimize(object->size());
   }
}

void getByNumber(benchmark::State& state)
{
   Sut object;
   auto sut = Kro::GenericIf::of(object);
   int number = 4;
   std::uint32_t size = 0;
   for (auto _ : state) {
      benchmark::DoNotOptimize(number);
      benchmark::DoNotOptimize(sut);
      benchmark::DoNotOptimize(sut.get(number, Kro::GenericIf::of(size)));
      benchmark::DoNotOptimize(size);
   }
}

void getByName(benchmark::State& state)
{
   Sut object;
   auto sut = Kro::GenericIf::of(object);
   std::string_view name = "size";
   std::uint32_t size = 0;
   for (auto _ : state) {
      benchmark::DoNotOptimize(name);
      benchmark::DoNotOptimize(sut);
      benchmark::DoNotOptimize(sut.get(name, Kro::GenericIf::of(size)));
      benchmark::DoNotOptimize(size);
   }
}

/// The attribute by its name, apart from reading it: both may throw.
void getByAttr(benchmark::State& state)
{
   Sut object;
   auto sut = Kro::GenericIf::of(object);
   std::string_view name = "size";
   std::uint32_t size = 0;
   auto const* type = &Sut::kroType;
   for (auto _ : state) {
      benchmark::DoNotOptimize(name);
      benchmark::DoNotOptimize(type);
      benchmark::DoNotOptimize(sut);
      type->attr(name).genericIfGet(sut, Kro::GenericIf::of(size));
      benchmark::DoNotOptimize(size);
   }
}

void virtualSetter(benchmark::State& state)
{
   auto const all = accessors();
   auto* object = all[0].get();
   std::uint32_t size = 7;
   for (auto _ : state) {
      benchmark::DoNotOptimize(object);
      benchmark::DoNotOptimize(size);
      object->sizeIs(size);
      benchmark::ClobberMemory();
   }
}

void setByNumber(benchmark::State& state)
{
   Sut object;
   auto sut = Kro::GenericIf::of(object);
   int number = 4;
   std::uint32_t size = 7;
   for (auto _ : state) {
      benchmark::DoNotOptimize(number);
      benchmark::DoNotOptimize(sut);
      benchmark::DoNotOptimize(size);
      benchmark::DoNotOptimize(sut.set(number, Kro::GenericIf::of(size)));
      benchmark::ClobberMemory();
   }
}

void setByName(benchmark::State& state)
{
   Sut object;
   auto sut = Kro::GenericIf::of(object);
   std::string_view name = "size";
   std::uint32_t size = 7;
   for (auto _ : state) {
      benchmark::DoNotOptimize(name);
      benchmark::DoNotOptimize(sut);
      benchmark::DoNotOptimize(size);
      benchmark::DoNotOptimize(sut.set(name, Kro::GenericIf::of(size)));
      benchmark::ClobberMemory();
   }
}

void callOperation(benchmark::State& state)
{
   Sut object;
   auto sut = Kro::GenericIf::of(object);
   int number = 6;
   std::uint32_t size = 7;
   Kro::GenericIf const arguments[] = {Kro::GenericIf::of(size)};
   for (auto _ : state) {
      benchmark::DoNotOptimize(number);
      benchmark::DoNotOptimize(sut);
      benchmark::DoNotOptimize(size);
      benchmark::DoNotOptimize(sut.call(number, arguments));
      benchmark::ClobberMemory();
   }
}

Numbers numbers(std::int64_t count)
{
   Numbers all;
   for (std::int32_t i = 0; i < count; ++i) {
      all.number.is(i, 1);
   }
   return all;
}

void rangeFor(benchmark::State& state)
{
   auto const all = numbers(state.range(0));
   for (auto _ : state) {
      std::uint32_t sum = 0;
      for (auto const& number : all.number) {
         sum += number;
      }
      benchmark::DoNotOptimize(sum);
   }
}

void visit(benchmark::State& state)
{
   auto const all = numbers(state.range(0));
   auto const sut = Kro::GenericIf::of(all);
   for (auto _ : state) {
      std::uint32_t sum = 0;
      static_cast<void>(sut.visit(2, [&sum](Kro::GenericIf const&, Kro::GenericIf const& element) {
         sum += element.as<std::uint32_t>();
         return true;
      }));
      benchmark::DoNotOptimize(sum);
   }
}

/// Equal, not the same object: all fields are compared. The names are 12 characters long, or 40.
template <class Value>
void equal(benchmark::State& state)
{
   std::string const name(static_cast<std::size_t>(state.range(0)), 'n');
   Value a{name, name, 4096, true};
   Value b{name, name, 4096, true};
   for (auto _ : state) {
      benchmark::DoNotOptimize(a);
      benchmark::DoNotOptimize(b);
      benchmark::DoNotOptimize(a == b);
   }
}

void typeNode(benchmark::State& state)
{
   std::string_view name = "Kro::Dir";
   for (auto _ : state) {
      benchmark::DoNotOptimize(name);
      benchmark::DoNotOptimize(&Kro::typeNode(name));
   }
}

BENCHMARK(virtualGetter);
BENCHMARK(getByNumber);
BENCHMARK(getByName);
BENCHMARK(getByAttr);
BENCHMARK(virtualSetter);
BENCHMARK(setByNumber);
BENCHMARK(setByName);
BENCHMARK(callOperation);
BENCHMARK(rangeFor)->Arg(16)->Arg(1000);
BENCHMARK(visit)->Arg(16)->Arg(1000);
BENCHMARK(equal<Plain>)->Arg(12)->Arg(40);
BENCHMARK(equal<Sut>)->Arg(12)->Arg(40);
BENCHMARK(typeNode);

} // namespace
