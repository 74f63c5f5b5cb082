// SPDX-License-Identifier: MIT
#pragma once

// What the process answers its caller: part of the interface, so a number never changes its meaning.
// A command that SIGINT or SIGTERM stopped answers 128 plus the signal's number instead, and so does one whose results
// nobody reads any more.
namespace quillbrook::ExitCode {

inline constexpr int done = 0;  // or nothing to do
inline constexpr int failed = 1;
inline constexpr int wrongUsage = 2;
inline constexpr int filesFailed = 3;  // finished, but one, some or all files failed
inline constexpr int damageFound = 4;
inline constexpr int signalBase = 128;
inline constexpr int nobodyReads = signalBase + 13;  // as if SIGPIPE had ended it

}  // namespace quillbrook::ExitCode
