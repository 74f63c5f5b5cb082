// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/FilePath.h"
#include "Support/Prelude.h"

namespace quillbrook {

// A folder of real files for one test, gone with the object. Names are told beneath it.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "quillbrook-test.XXXXXX").native();
    if (::mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    folder_ = FilePath(std::filesystem::canonical(name).native());
  }
  ~ScratchFolder() {
    std::error_code error;
    std::filesystem::remove_all(folder_.bytes(), error);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ScratchFolder(ScratchFolder&&) = delete;
  ScratchFolder& operator=(ScratchFolder&&) = delete;

  [[nodiscard]] const FilePath& folder() const { return folder_; }
  [[nodiscard]] FilePath path(std::string_view name) const { return folder_.appending(name); }
  [[nodiscard]] std::string at(std::string_view name) const { return path(name).bytes(); }

  void makeFolder(std::string_view name) const { std::filesystem::create_directories(at(name)); }
  // Also makes the folders that the file lies in.
  void write(std::string_view name, std::string_view content, std::ios::openmode mode = std::ios::trunc) const {
    std::filesystem::create_directories(path(name).parent().bytes());
    std::ofstream stream(at(name), std::ios::binary | mode);
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    stream << content << std::flush;
  }
  void append(std::string_view name, std::string_view content) const { write(name, content, std::ios::app); }
  // The bytes on the disk; none if there is no such file.
  [[nodiscard]] std::string read(std::string_view name) const {
    std::ifstream stream(at(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  [[nodiscard]] bool exists(std::string_view name) const {
    return std::filesystem::exists(std::filesystem::symlink_status(at(name)));
  }

  // Text that compresses, the same for the same seed and different for each.
  [[nodiscard]] static std::string prose(std::size_t byteCount, unsigned seed = 1) {
    std::string text;
    for (unsigned i = 1; text.size() < byteCount; ++i) {
      text += "line " + std::to_string((seed * 7'919 + i) * 2'654'435'761U) + " of the text\n";
    }
    text.resize(byteCount);
    return text;
  }

 private:
  FilePath folder_;
};

}  // namespace quillbrook
