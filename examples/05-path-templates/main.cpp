// An agent that serves one slice of one cell says where its memory is mounted by templates, and prints the paths that come out.

#include <Quorvel/Core/Entifier.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

using Quorvel::Core::Detail::MakerPathMount;
namespace Info = Quorvel::Core::Memory::Info;

namespace {

// A value is the format of a replacement: in a text of which nothing is known each $ is written twice.
std::string plain(std::string const& text)
{
   std::string result;
   for (char const character : text) {
      result.append(character == '$' ? 2 : 1, character);
   }
   return result;
}

void print(MakerPathMount const& maker, char const* pathTemplate)
{
   std::printf("%-40s  %s\n", pathTemplate, maker.makePath(pathTemplate).c_str());
}

void run()
{
   MakerPathMount maker;
   maker.cellIdValue = MakerPathMount::cellId(); // of the cell that this process runs in
   maker.sliceIdValue = "2";
   maker.arg0Value = "nvme0";
   maker.arg1Value = plain("io$1");

   print(maker, "cell%cellId/slice%sliceId/%arg0/%arg1");
   print(maker, "%arg0/%arg0-%arg1");
   print(maker, "controller/queues");
   print(maker, "%arg0/100%");

   maker.arg1Value = "%";
   print(maker, "%arg0/%arg1arg0");
   maker.arg0Value = "%arg1-of-cell";
   print(maker, "%arg0");

   std::fflush(stdout);
   maker.arg1Value = "queues";
   std::cout << Info::Mount(maker.makePath("cell%cellId/%arg1"), "QueuePairs") << "\n";
}

} // namespace

int main()
{
   try {
      run();
      return 0;
   } catch (std::exception const& error) { // the cell's identifier is malformed
      std::fprintf(stderr, "%s\n", error.what());
   }
   return 1;
}
