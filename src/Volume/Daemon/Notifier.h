// SPDX-License-Identifier: MIT
#pragma once

#include <fuse_lowlevel.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <variant>

#include "Volume/Daemon/KernelSession.h"

namespace quillbrook {

// Tells the kernel what it must not believe any longer. On a thread of its own: the kernel takes locks for it that the
// caller of a request may hold until that request is answered.
class Notifier {
 public:
  explicit Notifier(KernelSession& kernel);
  ~Notifier();
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;

  // The same as attributesChanged, done when this returns. With no lock held: writing back what the kernel has of the
  // node may be waited for.
  void forgetAttributes(fuse_ino_t node);
  // The node's attributes; its pages stay.
  void attributesChanged(fuse_ino_t node);
  // A name in a folder, and the folder's listing.
  void nameChanged(fuse_ino_t folder, std::string name);

 private:
  struct Attributes {
    fuse_ino_t node;
  };
  struct Name {
    fuse_ino_t folder;
    std::string name;
  };
  using Message = std::variant<Attributes, Name>;

  void post(Message message);
  void run(const std::stop_token& stop);

  KernelSession& kernel_;
  std::mutex mutex_;
  std::condition_variable_any filled_;
  std::deque<Message> messages_;  // guarded by mutex_
  std::jthread thread_;           // last, so that it ends first
};

}  // namespace quillbrook
