// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "Coder.h"
#include "Corpus.h"
#include "Result.h"

namespace quillbrook::Measurement {

// Every input through every coder, there and back, one thread. Throws std::runtime_error where a coder fails or does
// not give the bytes back.
Result measure(const Corpus& corpus, const std::vector<Coder>& coders);

}  // namespace quillbrook::Measurement
