#include "src/Settings.h"
#include "src/BlockFlags.h"
#include "src/Refusal.h"
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <grp.h>
#include <vector>

namespace pinmem_lib {

Settings Settings::fromEnvironment()
{
   Settings settings;
   if (char const* const domain = ::secure_getenv("PINMEM_DOMAIN"); domain != nullptr) {
      settings.domain = domain;
   }
   if (char const* const directory = ::secure_getenv("PINMEM_DIR"); directory != nullptr) {
      settings.directory = directory;
   }
   if (char const* const backend = ::secure_getenv("PINMEM_BACKEND"); backend != nullptr) {
      settings.backend = backend;
   }
   if (char const* const node = ::secure_getenv("PINMEM_NODE"); node != nullptr) {
      settings.node = node;
   }
   if (char const* const group = ::secure_getenv("PINMEM_GROUP"); group != nullptr) {
      settings.group = group;
   }
   return settings;
}

void checkPlaceOf(Settings const& settings)
{
   if (settings.domain.empty()) {
      refuse("the domain's name is empty; set PINMEM_DOMAIN to a name, or unset it for 'default'");
   }
   if (settings.domain == "." || settings.domain == ".." || settings.domain.find('/') != std::string::npos) {
      refuse(
         "domain '", printable(settings.domain),
         "' cannot be a folder's name; choose one without '/', not '.' or '..'");
   }
   if (settings.domain.size() > NAME_MAX) {
      refuse("the domain's name has ", settings.domain.size(), " bytes; a folder's name has 1 to ", NAME_MAX, " bytes");
   }
   if (settings.directory && settings.directory->empty()) {
      refuse("PINMEM_DIR is set but empty; set it to a directory, or unset it");
   }
}

NodeWish nodeOf(Settings const& settings)
{
   if (settings.node.empty()) {
      return {};
   }
   std::optional<NodeWish> const wish = NodeWish::parse(settings.node);
   if (!wish) {
      refuse(
         "PINMEM_NODE='", printable(settings.node),
         "' is not known; use the number of a NUMA node, such as 0, or 0! for that node and no other");
   }
   return *wish;
}

std::optional<gid_t> groupOf(Settings const& settings)
{
   std::string const& text = settings.group;
   if (text.empty()) {
      return std::nullopt;
   }
   gid_t number = 0;
   auto const [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
   constexpr auto none = static_cast<gid_t>(-1); // means "as it is" when a file is given to it
   if (error == std::errc() && rest == text.data() + text.size() && number != none) {
      return number;
   }
   group entry = {};
   group* found = nullptr;
   std::vector<char> texts(1U << 10); // of the group and its members
   while (::getgrnam_r(text.c_str(), &entry, texts.data(), texts.size(), &found) == ERANGE) {
      texts.resize(texts.size() * 2);
   }
   if (found == nullptr) {
      refuse(
         "PINMEM_GROUP='", printable(text),
         "' is not a group of this machine; use one that 'getent group' shows, or its number, or unset it");
   }
   return found->gr_gid;
}

void checkBackendOf(Settings const& settings, std::uint32_t flags)
{
   if (settings.backend == "auto" || settings.backend == "shm" || settings.backend == "hugetlb") {
      return;
   }
   if (settings.backend != "iommu") {
      refuse("PINMEM_BACKEND='", printable(settings.backend), "' is not known; use auto, shm, hugetlb or iommu");
   }
   if (flags != BlockFlags::ordinary) {
      refuse(
         "backend '", settings.backend,
         "' is not part of this build; use PINMEM_BACKEND=hugetlb, or shm (simulated bus addresses)");
   }
}

} // namespace pinmem_lib
