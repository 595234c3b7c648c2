#pragma once

#include <Orvo/Node.h>

namespace Kro {

struct TypeData {};

} // namespace Kro

namespace Orvo::Test {

/// A node that counts destructions.
class TestNode : public Node {
public:
   explicit TestNode(int* destructions = nullptr) : destructions_(destructions) {}

   ~TestNode() override
   {
      nodeFlagSet(flagDeleteOnLastUser, false);
      if (destructions_) {
         ++*destructions_;
      }
   }

   Kro::TypeData const& typeData() const noexcept override
   {
      static Kro::TypeData const data;
      return data;
   }

private:
   int* destructions_;
};

} // namespace Orvo::Test
