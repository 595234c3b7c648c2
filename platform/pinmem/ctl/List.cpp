#include "ctl/List.h"
#include "src/BlockFlags.h"
#include "src/Refusal.h"
#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace pinmem_lib {

namespace {

std::string addressText(std::uint64_t address)
{
   char text[19];
   std::snprintf(text, sizeof(text), "0x%016llx", static_cast<unsigned long long>(address));
   return text;
}

char const* memoryText(Block const& block)
{
   return block.flags == BlockFlags::ordinary ? "ordinary" : "dma";
}

char const* backendText(Block const& block)
{
   return nameOf(static_cast<BackendKind>(block.backend));
}

} // namespace

void writeTable(std::ostream& stream, std::vector<Record> const& records)
{
   using Row = std::array<std::string, 6>;
   constexpr std::size_t columnSize = 2;
   std::vector<Row> rows = {{"NAME", "OWNER", "SIZE", "BUS ADDRESS", "MEMORY", "BACKEND"}};
   for (Record const& record : records) {
      Block const& block = record.block;
      rows.push_back(
         {printable(record.name()), printable(record.owner()), std::to_string(block.size),
          addressText(block.addressBus), memoryText(block), backendText(block)});
   }
   std::array<std::size_t, 6> widths = {};
   for (Row const& row : rows) {
      for (std::size_t column = 0; column < row.size(); ++column) {
         widths[column] = std::max(widths[column], row[column].size());
      }
   }
   for (Row const& row : rows) {
      for (std::size_t column = 0; column < row.size(); ++column) {
         std::string const padding(widths[column] - row[column].size(), ' ');
         bool const isLast = column + 1 == row.size();
         stream << (column == columnSize ? padding + row[column] : row[column] + (isLast ? "" : padding))
                << (isLast ? "\n" : "  ");
      }
   }
}

void writeJson(std::ostream& stream, std::string const& directory, std::vector<Record> const& records)
{
   nlohmann::ordered_json blocks = nlohmann::ordered_json::array();
   for (Record const& record : records) {
      Block const& block = record.block;
      blocks.push_back(
         {{"name", printable(record.name())},
          {"owner", printable(record.owner())},
          {"uid", block.uid},
          {"size", block.size},
          {"capacity", block.capacity},
          {"addressBus", addressText(block.addressBus)},
          {"memory", memoryText(block)},
          {"backend", backendText(block)},
          {"generation", block.generation},
          {"timeCreated", block.timeCreated}});
   }
   nlohmann::ordered_json const document = {{"directory", printable(directory)}, {"blocks", blocks}};
   stream << document.dump(2) << '\n';
}

} // namespace pinmem_lib
