#include <KroOrvo/Impl.h>

#include <Kro/Slot.h>
#include <Kro/Table.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

// The text form of a value with four attributes, texts of 12 and 20 characters, a number and a flag, ns each: beside
// sscanf and snprintf of the same text, and beside code written for this one type. And one long text, ns a character.

namespace {

struct Sut {
   Orvo::String attribute;
   Orvo::String name;
   std::uint32_t size = 0;
   bool isSpare = false;

   Sut() = default;
   explicit Sut(Kro::CharRange& text);

   static Kro::KroType const kroType;

   struct Declaration;
};

struct Sut::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Sut>(
      Kro::value<2, &Sut::attribute>("attribute"), Kro::value<3, &Sut::name>("name"), Kro::value<4, &Sut::size>("size"),
      Kro::value<5, &Sut::isSpare>("isSpare"));
   // clang-format on
};

Sut::Sut(Kro::CharRange& text)
{
   Kro::readByTable<Sut, Declaration>(text, *this);
}

constinit Kro::KroType const Sut::kroType = Kro::valueType<Sut, Sut::Declaration>("Bench::Sut", nullptr);

constexpr std::string_view text =
   R"(Bench::Sut(attribute="submission00", name="nvme0.submission.sq0", size=4096, isSpare=false))";

Sut value()
{
   Sut sut;
   sut.attribute = "submission00";
   sut.name = "nvme0.submission.sq0";
   sut.size = 4096;
   return sut;
}

template <class Call>
void measure(benchmark::State& state, Call&& call)
{
   for (auto _ : state) {
      benchmark::DoNotOptimize(call());
   }
}

// Reading.

void readKro(benchmark::State& state)
{
   measure(state, [] {
      Kro::CharRange range(text);
      return Sut(range);
   });
}

void readKroSlot(benchmark::State& state)
{
   measure(state, [] { return Kro::Slot::read({&Sut::kroType}, text); });
}

/// Less than what is asked of a reader: no texts are made, a number too large is taken, and so are extra blanks.
void readSscanf(benchmark::State& state)
{
   struct Plain {
      char attribute[32];
      char name[32];
      std::uint32_t size;
      bool isSpare;
   };

   std::string const terminated(text);
   measure(state, [&] {
      Plain plain;
      char flag[6];
      int end = -1;
      std::sscanf(
         terminated.c_str(),
         "Bench::Sut(attribute=\"%31[^\"]\", name=\"%31[^\"]\", size=%" SCNu32 ", isSpare=%5[a-z])%n", plain.attribute,
         plain.name, &plain.size, flag, &end);
      plain.isSpare = std::strcmp(flag, "true") == 0;
      return std::pair(plain, end);
   });
}

bool skip(std::string_view& rest, std::string_view expected)
{
   bool const isThere = rest.starts_with(expected);
   rest.remove_prefix(isThere ? expected.size() : 0);
   return isThere;
}

/// Without escapes.
bool readTextByHand(std::string_view& rest, Orvo::String& to)
{
   auto const* const end = static_cast<char const*>(std::memchr(rest.data(), '"', rest.size()));
   if (end == nullptr) {
      return false;
   }
   auto const length = static_cast<std::size_t>(end - rest.data());
   to = rest.substr(0, length);
   rest.remove_prefix(length + 1);
   return true;
}

bool readNumberByHand(std::string_view& rest, std::uint32_t& to)
{
   auto const [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), to);
   rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
   return error == std::errc();
}

bool readFlagByHand(std::string_view& rest, bool& to)
{
   to = skip(rest, "true");
   return to || skip(rest, "false");
}

void readByHand(benchmark::State& state)
{
   measure(state, [] {
      auto rest = text;
      benchmark::DoNotOptimize(rest);
      Sut sut;
      bool const isRead = skip(rest, "Bench::Sut(attribute=\"") && readTextByHand(rest, sut.attribute) &&
                          skip(rest, ", name=\"") && readTextByHand(rest, sut.name) && skip(rest, ", size=") &&
                          readNumberByHand(rest, sut.size) && skip(rest, ", isSpare=") &&
                          readFlagByHand(rest, sut.isSpare) && rest == ")";
      return std::pair(std::move(sut), isRead);
   });
}

// Printing.

void printKro(benchmark::State& state)
{
   auto const sut = value();
   measure(state, [&] { return KroOrvo::Impl::valueToStrep(Sut::kroType, &sut); });
}

/// Less than what is asked of a printer: no text is made, nothing is escaped.
void printSnprintf(benchmark::State& state)
{
   auto const sut = value();
   char buffer[256];
   measure(state, [&] {
      return std::snprintf(
         buffer, sizeof buffer, R"(%s(attribute="%s", name="%s", size=%)" PRIu32 ", isSpare=%s)", "Bench::Sut",
         sut.attribute.c_str(), sut.name.c_str(), sut.size, sut.isSpare ? "true" : "false");
   });
}

class Buffer {
public:
   void put(std::string_view part)
   {
      auto const count = std::min(part.size(), sizeof characters_ - size_);
      std::memcpy(characters_ + size_, part.data(), count);
      size_ += count;
   }

   void put(std::uint32_t number)
   {
      char digits[10];
      put({digits, std::to_chars(digits, digits + sizeof digits, number).ptr});
   }

   Orvo::String text() const { return {characters_, size_}; }

private:
   char characters_[256];
   std::size_t size_ = 0;
};

void printByHand(benchmark::State& state)
{
   auto const sut = value();
   measure(state, [&] {
      Buffer buffer;
      buffer.put("Bench::Sut(attribute=\"");
      buffer.put(sut.attribute.view());
      buffer.put("\", name=\"");
      buffer.put(sut.name.view());
      buffer.put("\", size=");
      buffer.put(sut.size);
      buffer.put(", isSpare=");
      buffer.put(sut.isSpare ? "true)" : "false)");
      return buffer.text();
   });
}

// A long text, plain or all quotes.

void longArguments(benchmark::internal::Benchmark* benchmark)
{
   benchmark->ArgNames({"characters", "escaped"})->ArgsProduct({{1 << 14, 1 << 20}, {0, 1}});
}

Orvo::String longText(benchmark::State const& state)
{
   return std::string(static_cast<std::size_t>(state.range(0)), state.range(1) != 0 ? '"' : 'a');
}

void readLongKro(benchmark::State& state)
{
   auto const all = longText(state);
   auto const printed = KroOrvo::Impl::valueToStrep(Kro::Leaf::text, &all);
   measure(state, [&] { return Kro::Slot::read({&Kro::Leaf::text}, printed); });
   state.SetItemsProcessed(state.iterations() * state.range(0));
}

void printLongKro(benchmark::State& state)
{
   auto const all = longText(state);
   measure(state, [&] { return KroOrvo::Impl::valueToStrep(Kro::Leaf::text, &all); });
   state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// The floor: the same characters, copied into a text.
void copyLong(benchmark::State& state)
{
   auto const all = longText(state);
   measure(state, [&] { return Orvo::String(all.view()); });
   state.SetItemsProcessed(state.iterations() * state.range(0));
}

} // namespace

BENCHMARK(readKro);
BENCHMARK(readKroSlot);
BENCHMARK(readSscanf);
BENCHMARK(readByHand);
BENCHMARK(printKro);
BENCHMARK(printSnprintf);
BENCHMARK(printByHand);
BENCHMARK(readLongKro)->Apply(longArguments);
BENCHMARK(printLongKro)->Apply(longArguments);
BENCHMARK(copyLong)->Apply(longArguments);
