// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

#include "Platform/DirectoryEnumerator.h"
#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// DirectoryEnumerator::open, or what stands in for it in a test.
using OpenEnumerator =
    std::function<Result<std::unique_ptr<DirectoryEnumerator>>(const FilePath&, DirectoryEnumerator::Depth)>;

}  // namespace quillbrook
