// SPDX-License-Identifier: MIT
#include "Platform/StandardOutput.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace quillbrook {

StandardOutput::StandardOutput() {
  setp(buffer_.data(), buffer_.data() + buffer_.size());
}

StandardOutput::~StandardOutput() {
  StandardOutput::sync();
}

StandardOutput::int_type StandardOutput::overflow(int_type character) {
  if (sync() != 0) return traits_type::eof();
  if (!traits_type::eq_int_type(character, traits_type::eof())) sputc(traits_type::to_char_type(character));
  return traits_type::not_eof(character);
}

int StandardOutput::sync() {
  const char* next = pbase();
  while (!failure_ && next != pptr()) {
    const auto count = ::write(STDOUT_FILENO, next, static_cast<std::size_t>(pptr() - next));
    if (count >= 0) {
      next += count;
    } else if (errno != EINTR) {
      failure_ = ErrorNumber{errno};
    }
  }
  setp(buffer_.data(), buffer_.data() + buffer_.size());
  return failure_ ? -1 : 0;
}

}  // namespace quillbrook
