// SPDX-License-Identifier: MIT
#include "Volume/Daemon/InodeDescriptor.h"

#include "Volume/Daemon/KernelSession.h"

namespace quillbrook {

InodeDescriptor::~InodeDescriptor() {
  if (kernel_ != nullptr) kernel_->unregisterBacking(backingIdentifier_);
}

Result<std::int32_t> InodeDescriptor::backingIdentifier(const KernelSession& kernel) {
  if (kernel_ == nullptr) {
    const auto identifier = kernel.registerBacking(file_.get());
    if (!identifier) return identifier;
    backingIdentifier_ = *identifier;
    kernel_ = &kernel;
  }
  return backingIdentifier_;
}

}  // namespace quillbrook
