// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <vector>

#include "Codec/GeneratedContent.h"

namespace quillbrook::DiskImage {

// A stream and the number of bytes that it holds: a multiple of 512, as a disk image counts sectors.
struct Chunk {
  std::size_t rawBytes;
  ByteVector stream;
};

// A disk image of Apple's UDIF kind whose only content is the chunks, so that an archiver which reads such images
// decodes our streams.
ByteVector of(const std::vector<Chunk>& chunks);

}  // namespace quillbrook::DiskImage
