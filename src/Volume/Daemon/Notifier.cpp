// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Notifier.h"

#include <utility>

namespace quillbrook {

Notifier::Notifier(KernelSession& kernel)
    : kernel_(kernel), thread_([this](const std::stop_token& stop) { run(stop); }) {}

Notifier::~Notifier() = default;

void Notifier::forgetAttributes(fuse_ino_t node) {
  // What the kernel does not know any more needs no telling, so the answer does not matter.
  fuse_lowlevel_notify_inval_inode(kernel_.session(), node, -1, 0);
}

void Notifier::attributesChanged(fuse_ino_t node) {
  post(Attributes{.node = node});
}

void Notifier::nameChanged(fuse_ino_t folder, std::string name) {
  post(Name{.folder = folder, .name = std::move(name)});
}

void Notifier::post(Message message) {
  {
    const std::lock_guard lock(mutex_);
    messages_.push_back(std::move(message));
  }
  filled_.notify_one();
}

void Notifier::run(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  while (filled_.wait(lock, stop, [this] { return !messages_.empty(); })) {
    const Message message = std::move(messages_.front());
    messages_.pop_front();
    lock.unlock();
    if (const auto* attributes = std::get_if<Attributes>(&message)) {
      forgetAttributes(attributes->node);
    } else if (const auto* name = std::get_if<Name>(&message)) {
      fuse_lowlevel_notify_inval_entry(kernel_.session(), name->folder, name->name.c_str(), name->name.size());
    }
    lock.lock();
  }
}

}  // namespace quillbrook
