#include <Quorvel/Core/Pointer.h>

#include <Kro/KroModule.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

namespace {

using Quorvel::Core::Memory::Pointer;

template <class T>
std::string textOf(Pointer<T> pointer)
{
   std::ostringstream stream;
   stream << pointer;
   return stream.str();
}

TEST(MemoryPointer, isNullAtFirst)
{
   Pointer<int> const sut;

   EXPECT_EQ(sut.get(), nullptr);
   EXPECT_FALSE(sut);
}

TEST(MemoryPointer, reachesItsObject)
{
   std::pair<int, int> object{1, 2};
   Pointer const sut(&object);

   sut->first = 7;

   EXPECT_TRUE(sut);
   EXPECT_EQ(sut.get(), &object);
   EXPECT_EQ((*sut).first, 7);
}

TEST(MemoryPointer, isEqualWhenItPointsToTheSameObject)
{
   int objects[2] = {};

   EXPECT_EQ(Pointer(&objects[0]), Pointer(&objects[0]));
   EXPECT_NE(Pointer(&objects[0]), Pointer(&objects[1]));
   EXPECT_NE(Pointer(&objects[0]), Pointer<int>());
}

TEST(MemoryPointer, writesTheSameTextForEveryPointer)
{
   int number = 1;
   std::string text;

   EXPECT_EQ(textOf(Pointer(&number)), "Quorvel::Core::Memory::Pointer<...>");
   EXPECT_EQ(textOf(Pointer<int>()), "Quorvel::Core::Memory::Pointer<...>");
   EXPECT_EQ(textOf(Pointer(&text)), "Quorvel::Core::Memory::Pointer<...>");
   EXPECT_EQ(Quorvel::Core::Memory::Detail::valueToStrep(), "Quorvel::Core::Memory::Pointer<...>");
}

TEST(MemoryPointer, mayPointToMemoryWhoseObjectIsNotKnown)
{
   int number = 1;
   Pointer<void> const sut(&number);

   EXPECT_EQ(sut.get(), &number);
   EXPECT_EQ(textOf(sut), "Quorvel::Core::Memory::Pointer<...>");
}

TEST(MemoryPointer, isNoRegisteredType)
{
   EXPECT_EQ(Kro::findType("Quorvel::Core::Memory::Pointer"), nullptr);
   EXPECT_EQ(Kro::findType("Quorvel::Core::Memory::Pointer<...>"), nullptr);
}

} // namespace
