// SPDX-License-Identifier: MIT
#include "Platform/Log.h"

#include <cstddef>
#include <deque>
#include <optional>

#include "Platform/Mutex.h"

namespace quillbrook {
namespace {

constexpr std::size_t keptEntries = 10'000;

struct Kept {
  Mutex mutex;
  std::deque<LogEntry> entries QB_GUARDED_BY(mutex);
};

Kept& kept() {
  static Kept instance;
  return instance;
}

std::string text(const LogArgument& argument) {
  if (const auto* number = std::get_if<std::int64_t>(&argument)) return std::to_string(*number);
  return std::string(std::get<std::string_view>(argument));
}

std::string masked(std::string_view format, std::initializer_list<LogArgument> arguments) {
  std::string message;
  const auto* next = arguments.begin();
  while (!format.empty()) {
    const std::size_t percent = format.find('%');
    message += format.substr(0, percent);
    if (percent == std::string_view::npos) break;
    format.remove_prefix(percent + 1);
    if (format.starts_with('%')) {
      message += '%';
      format.remove_prefix(1);
      continue;
    }
    std::optional<bool> mark;
    if (format.starts_with("{private}")) {
      mark = true;
      format.remove_prefix(9);
    } else if (format.starts_with("{public}")) {
      mark = false;
      format.remove_prefix(8);
    }
    const bool isPrivate = mark.value_or(format.starts_with('s'));
    if (!format.empty()) format.remove_prefix(1);  // the conversion letter: the argument knows its type
    if (next == arguments.end()) continue;
    message += isPrivate ? std::string("<private>") : text(*next);
    ++next;
  }
  return message;
}

}  // namespace

void Log::write(LogLevel level, std::string_view format, std::initializer_list<LogArgument> arguments) const {
  const LogEntry entry{std::chrono::system_clock::now(), level, std::string(category_), masked(format, arguments)};
  {
    Kept& log = kept();
    const MutexLock guard(log.mutex);
    log.entries.push_back(entry);
    if (log.entries.size() > keptEntries) log.entries.pop_front();
  }
  sendToSystemLog(entry);
}

std::vector<LogEntry> Log::entries() {
  Kept& log = kept();
  const MutexLock guard(log.mutex);
  return {log.entries.begin(), log.entries.end()};
}

}  // namespace quillbrook
