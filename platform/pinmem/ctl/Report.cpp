#include "ctl/Report.h"
#include "src/BlockFlags.h"
#include "src/Refusal.h"
#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
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

std::string nodeText(Block const& block)
{
   return block.node < 0 ? "-" : std::to_string(block.node);
}

std::string placeText(Block const& block)
{
   return block.isPacked() ? "in arena " + std::to_string(block.arena) + " at " + std::to_string(block.offset)
                           : "of its own, pages of " + sizeText(block.pageSize);
}

std::string timeText(std::int64_t seconds)
{
   std::time_t const time = seconds;
   std::tm parts = {};
   char text[32];
   ::gmtime_r(&time, &parts);
   std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S UTC", &parts);
   return text;
}

nlohmann::ordered_json jsonOf(Listed const& listed)
{
   Block const& block = listed.record.block;
   return {
      {"name", printable(listed.record.name())},
      {"owner", printable(listed.record.owner())},
      {"uid", block.uid},
      {"size", block.size},
      {"capacity", block.capacity},
      {"addressBus", addressText(block.addressBus)},
      {"memory", memoryText(block)},
      {"backend", backendText(block)},
      {"node", block.node},
      {"users", listed.users},
      {"generation", block.generation},
      {"addressChanges", block.changeCount},
      {"timeCreated", block.timeCreated}};
}

} // namespace

void writeTable(std::ostream& stream, std::vector<Listed> const& blocks)
{
   constexpr std::size_t columns = 8;
   constexpr std::size_t alignedMax = 32;
   using Row = std::array<std::string, columns>;
   constexpr std::array<bool, columns> isNumber = {false, false, true, false, false, false, true, true};
   std::vector<Row> rows = {{"NAME", "OWNER", "SIZE", "BUS ADDRESS", "MEMORY", "BACKEND", "NODE", "USERS"}};
   for (auto const& [record, users] : blocks) {
      Block const& block = record.block;
      rows.push_back(
         {printable(record.name()), printable(record.owner()), std::to_string(block.size),
          addressText(block.addressBus), memoryText(block), backendText(block), nodeText(block),
          std::to_string(users)});
   }
   std::array<std::size_t, columns> widths = {};
   for (Row const& row : rows) {
      for (std::size_t column = 0; column < columns; ++column) {
         widths[column] = std::max(widths[column], std::min(row[column].size(), alignedMax));
      }
   }
   for (Row const& row : rows) {
      for (std::size_t column = 0; column < columns; ++column) {
         std::string const padding(widths[column] - std::min(row[column].size(), widths[column]), ' ');
         stream << (isNumber[column] ? padding + row[column] : row[column] + padding)
                << (column + 1 == columns ? "\n" : "  ");
      }
   }
}

void writeJson(std::ostream& stream, std::string const& directory, std::vector<Listed> const& blocks)
{
   nlohmann::ordered_json array = nlohmann::ordered_json::array();
   for (Listed const& block : blocks) {
      array.push_back(jsonOf(block));
   }
   nlohmann::ordered_json const document = {{"directory", printable(directory)}, {"blocks", array}};
   stream << document.dump(2) << '\n';
}

void writeBlock(std::ostream& stream, Listed const& listed)
{
   Block const& block = listed.record.block;
   stream << "name             " << printable(listed.record.name()) << "\nowner            "
          << printable(listed.record.owner()) << "\nsize             " << block.size << "\ncapacity         "
          << block.capacity << "\nbus address      " << addressText(block.addressBus) << "\nmemory           "
          << memoryText(block) << ", " << placeText(block) << "\nbackend          " << backendText(block)
          << "\nnode             " << nodeText(block) << "\nuser id          " << block.uid << "\nusers            "
          << listed.users << "\ngeneration       " << block.generation << "\naddress changes  " << block.changeCount
          << "\nmade             " << timeText(block.timeCreated) << "\nrecord           " << block.slot << '\n';
}

void writeBlockJson(std::ostream& stream, Listed const& block)
{
   stream << jsonOf(block).dump(2) << '\n';
}

std::string Diagnosis::taken() const
{
   auto const found = std::find_if(findings.begin(), findings.end(), [&](Backends::Finding const& finding) {
      return finding.obstacles.empty() && (backend == "auto" || backend == finding.backend);
   });
   return found == findings.end() || !domainObstacle.empty() ? "" : found->backend;
}

void writeDiagnosis(std::ostream& stream, Diagnosis const& diagnosis)
{
   if (!diagnosis.domainObstacle.empty()) {
      stream << "domain: " << diagnosis.domainObstacle << '\n';
   }
   for (auto const& [backend, obstacles] : diagnosis.findings) {
      for (std::string const& obstacle : obstacles) {
         stream << backend << ": " << obstacle << '\n';
      }
      if (obstacles.empty()) {
         stream << backend << ": can be used\n";
      }
   }
   std::string const taken = diagnosis.taken();
   stream << "PINMEM_BACKEND=" << diagnosis.backend << ": new DMA memory "
          << (taken.empty() ? "is refused" : "is had from " + taken)
          << (taken == "shm" ? ", with simulated bus addresses that no device can reach\n" : "\n");
}

void writeDiagnosisJson(std::ostream& stream, Diagnosis const& diagnosis)
{
   nlohmann::ordered_json array = nlohmann::ordered_json::array();
   for (auto const& [backend, obstacles] : diagnosis.findings) {
      array.push_back({{"backend", backend}, {"isUsable", obstacles.empty()}, {"obstacles", obstacles}});
   }
   nlohmann::ordered_json const document = {
      {"domainObstacle", diagnosis.domainObstacle},
      {"backends", array},
      {"wanted", diagnosis.backend},
      {"taken", diagnosis.taken()}};
   stream << document.dump(2) << '\n';
}

} // namespace pinmem_lib
