// SPDX-License-Identifier: MIT
#include "Platform/Linux/EntryNames.h"

#include <dirent.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

EntryNames EntryNames::read(int folder, std::span<std::byte> buffer, std::optional<ErrorNumber>& failure) {
  EntryNames names;
  for (;;) {
    const ssize_t got = SystemCall::retrying([&] { return ::getdents64(folder, buffer.data(), buffer.size()); });
    if (got == -1) failure = SystemCall::failure().error();
    if (got <= 0) break;
    const auto filled = buffer.first(static_cast<std::size_t>(got));
    for (std::size_t offset = 0; offset < filled.size();) {
      const std::byte* record = filled.data() + offset;
      unsigned short length = 0;
      std::memcpy(&length, record + offsetof(dirent64, d_reclen), sizeof length);
      offset += length;
      const char* name = reinterpret_cast<const char*>(record + offsetof(dirent64, d_name));
      if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
      names.order_.push_back(names.bytes_.size());
      names.bytes_.push_back(static_cast<char>(record[offsetof(dirent64, d_type)]));
      names.bytes_.insert(names.bytes_.end(), name, name + std::strlen(name) + 1);
    }
  }
  std::ranges::sort(names.order_, {}, [&](std::size_t at) { return std::string_view(&names.bytes_[at + 1]); });
  return names;
}

std::optional<EntryNames::Entry> EntryNames::next() {
  if (position_ == order_.size()) return std::nullopt;
  const char* entry = &bytes_[order_[position_++]];
  return Entry{.name = entry + 1, .type = static_cast<unsigned char>(*entry)};
}

}  // namespace quillbrook
