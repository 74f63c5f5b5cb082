// SPDX-License-Identifier: MIT
#include "App/AppContext.h"

namespace quillbrook {

AppContext& AppContext::shared() {
  static AppContext context;
  return context;
}

}  // namespace quillbrook
