#include "cuadrante/solver/generator.h"

#include <gtest/gtest.h>

#include <string>

#include "cuadrante/solver/instancefile.h"

namespace cuadrante::solver {
namespace {

// What tests and benchmarks lean on: an instance that holds together, the
// same for the same seed, and cover priced as the published instances price
// it, a line a day and type.
TEST(GenerateInstanceTest, KeepsItsPromises) {
  for (const TShape shape : {TShape{1, 1, 1}, TShape{10, 28, 2}, TShape{30, 35, 4}}) {
    for (uint64_t seed = 1; seed <= 3; ++seed) {
      SCOPED_TRACE(std::to_string(shape.employees) + " staff, seed " + std::to_string(seed));
      const TInstance instance = GenerateInstance(shape, seed);
      EXPECT_EQ(ModelProblem(instance), "");
      EXPECT_EQ(WriteInstance(GenerateInstance(shape, seed)), WriteInstance(instance));
      EXPECT_NE(WriteInstance(GenerateInstance(shape, seed + 10)), WriteInstance(instance));
      ASSERT_EQ(instance.cover.size(), static_cast<size_t>(shape.days * shape.shiftTypes));
      for (const TCover& line : instance.cover) {
        EXPECT_EQ(line.underWeight, 100);
        EXPECT_EQ(line.overWeight, 1);
      }
    }
  }
}

}  // namespace
}  // namespace cuadrante::solver
