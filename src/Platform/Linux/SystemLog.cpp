// SPDX-License-Identifier: MIT
#include <syslog.h>

#include <string>

#include "Platform/Log.h"

namespace quillbrook {
namespace {

int priority(LogLevel level) {
  switch (level) {
    case LogLevel::debug: return LOG_DEBUG;
    case LogLevel::info: return LOG_INFO;
    case LogLevel::standard: return LOG_NOTICE;
    case LogLevel::error: return LOG_ERR;
    case LogLevel::fault: return LOG_CRIT;
  }
  return LOG_NOTICE;
}

}  // namespace

void sendToSystemLog(const LogEntry& entry) {
  const auto text = std::string(Log::subsystem) + " [" + entry.category + "] " + entry.message;
  ::syslog(LOG_USER | priority(entry.level), "%s", text.c_str());
}

}  // namespace quillbrook
