// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace quillbrook {

// The levels of the unified log; `standard` is its default level.
enum class LogLevel : std::uint8_t { debug, info, standard, error, fault };

using LogArgument = std::variant<std::int64_t, std::string_view>;

struct LogEntry {
  std::chrono::system_clock::time_point time;
  LogLevel level = LogLevel::standard;
  std::string category;
  std::string message;  // private arguments masked as "<private>"
};

// One area of the log. Messages are kept in memory for this process, the newest 10,000 of them, and sent to the
// system's log; private arguments are masked in both. Any thread may write.
class Log {
 public:
  static constexpr std::string_view subsystem = "com.studiomerlin.quillbrook";

  explicit constexpr Log(std::string_view category) : category_(category) {}

  // `format` marks its arguments, in order, as %{private}s, %{public}s, %{private}d or %{public}d. Without a mark text
  // (%s) is private and a number (%d) public. %% is a percent sign.
  void write(LogLevel level, std::string_view format, std::initializer_list<LogArgument> arguments = {}) const;

  // What this process has written, oldest first.
  [[nodiscard]] static std::vector<LogEntry> entries();

 private:
  std::string_view category_;
};

// How the platform hands one entry to the system's log. Implemented by the platform, called by Log::write.
void sendToSystemLog(const LogEntry& entry);

}  // namespace quillbrook
