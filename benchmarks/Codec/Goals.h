// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "Goal.h"
#include "Result.h"

// What our codec is held to beside its peers. `coders` are the names of the results' coders. Where there is nothing to
// judge by, as without a block that did not compress, there is no goal.
namespace quillbrook::Goals {

// Sizes and speeds, on all corpora of blocks together.
std::vector<Goal> ofTotal(const std::vector<std::string>& coders, const Result& total);

// What does not compress: the blocks of `total` that our codec could only store, and random bytes.
std::vector<Goal> ofStored(const Result& total);
std::vector<Goal> ofRandom(const Result& random);

// Small files, each compressed whole.
std::vector<Goal> ofSmallFiles(const std::vector<std::string>& coders, const Result& small);

}  // namespace quillbrook::Goals
