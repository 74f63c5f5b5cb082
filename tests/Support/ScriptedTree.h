// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/DirectoryEnumerator.h"
#include "Registration/OpenEnumerator.h"
#include "Support/Prelude.h"

namespace quillbrook {

// A folder "/root" that is walked and exists nowhere: its entries come in the order in which they were put, each folder
// before what lies in it.
class ScriptedTree {
 public:
  ScriptedTree& folder(const std::string& name) { return put(name, FileKind::directory); }
  ScriptedTree& link(const std::string& name) { return put(name, FileKind::symbolicLink); }
  ScriptedTree& file(const std::string& name, std::int64_t size = 0, Timestamp modified = {}, std::uint32_t flags = 0) {
    put(name, FileKind::regular);
    items_.back().status->st_size = size;
    items_.back().status->st_mtimespec = modified;
    items_.back().status->st_flags = flags;
    return *this;
  }
  // A file, by its folder, that is not there any more when it is looked at.
  ScriptedTree& vanishingFile(const std::string& name) {
    put(name, FileKind::regular);
    items_.back().status = std::unexpected(ErrorNumber::noEntry);
    return *this;
  }

  // The folder cannot be opened.
  std::optional<ErrorNumber> failure;

  // Lives no longer than the tree.
  [[nodiscard]] OpenEnumerator opener() const {
    return [this](const FilePath&, DirectoryEnumerator::Depth depth) -> Result<std::unique_ptr<DirectoryEnumerator>> {
      if (failure) return std::unexpected(*failure);
      return std::make_unique<Walk>(items_, depth);
    };
  }

 private:
  struct Item {
    DirectoryEnumerator::Entry entry;
    Result<FileStatus> status;
  };

  class Walk final : public DirectoryEnumerator {
   public:
    Walk(const std::vector<Item>& items, Depth depth) : items_(items), depth_(depth) {}
    std::optional<Entry> next() override {
      while (++position_ <= items_.size()) {
        const Entry& entry = items_[position_ - 1].entry;
        const bool isTooDeep = depth_ == Depth::direct && entry.level > 1;
        if (!isTooDeep && !(skipped_ && entry.path.bytes().starts_with(*skipped_))) return entry;
      }
      return std::nullopt;
    }
    Result<FileStatus> status() override { return items_[position_ - 1].status; }
    void skipDescendants() override { skipped_ = items_[position_ - 1].entry.path.bytes() + "/"; }
    std::optional<Omission> takeOmission() override { return std::nullopt; }

   private:
    const std::vector<Item>& items_;
    Depth depth_;
    std::size_t position_ = 0;  // of the entry that next() gave last, counted from 1
    std::optional<std::string> skipped_;
  };

  ScriptedTree& put(const std::string& name, FileKind kind) {
    const auto slashes = static_cast<std::size_t>(std::ranges::count(name, '/'));
    FileStatus status;
    status.kind = kind;
    items_.push_back({{FilePath("/root/" + name), kind, slashes + 1}, status});
    return *this;
  }

  std::vector<Item> items_;
};

}  // namespace quillbrook
