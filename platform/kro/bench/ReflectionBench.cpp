#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Reflection, ns an access: a number of 32 bits by its attribute's number and name beside a virtual getter and setter;
// equality of a value with 4 fields beside the compiler's own; a type by its name among those of this program.

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

struct Sut {
   Orvo::String attribute;
   Orvo::String name;
   std::uint32_t size = 0;
   bool isOpen = false;

   static Kro::KroType const kroType;

   struct Declaration;

   friend bool operator==(Sut const& a, Sut const& b);
};

struct Sut::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Sut>(
      Kro::value<2, &Sut::attribute>("nameAttribute"), Kro::value<3, &Sut::name>("name"),
      Kro::value<4, &Sut::size>("size"), Kro::value<5, &Sut::isOpen>("isOpen"));
   // clang-format on
};

bool operator==(Sut const& a, Sut const& b)
{
   return Kro::equal<Sut, Sut::Declaration>(a, b);
}

extern Kro::KroModule benchModule;
constinit Kro::KroType const Sut::kroType = Kro::valueType<Sut, Sut::Declaration>("Bench::Sut", &benchModule);
constexpr Kro::KroType const* types[] = {&Sut::kroType};
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
      Sut::kroType.attr(name).genericIfGet(sut, Kro::GenericIf::of(size));
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
BENCHMARK(virtualSetter);
BENCHMARK(setByNumber);
BENCHMARK(equal<Plain>)->Arg(12)->Arg(40);
BENCHMARK(equal<Sut>)->Arg(12)->Arg(40);
BENCHMARK(typeNode);

} // namespace
