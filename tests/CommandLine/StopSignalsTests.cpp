// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include "Platform/StopSignals.h"

namespace quillbrook {
namespace {

TEST(StopSignals, TheFirstOneRequestsTheStopAndTheOldHandlersComeBack) {
  struct sigaction before{};
  ::sigaction(SIGTERM, nullptr, &before);
  std::stop_token undisturbed;
  {
    const StopSignals signals;
    undisturbed = signals.token();
  }
  EXPECT_FALSE(undisturbed.stop_requested());
  {
    const StopSignals signals;
    ASSERT_EQ(std::raise(SIGTERM), 0);
    ASSERT_EQ(std::raise(SIGINT), 0);
    EXPECT_EQ(signals.received(), SIGTERM);
    // The request comes from another thread: it comes, or the test's time limit does.
    while (!signals.token().stop_requested()) std::this_thread::yield();
  }
  struct sigaction after{};
  ::sigaction(SIGTERM, nullptr, &after);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
}

}  // namespace
}  // namespace quillbrook
