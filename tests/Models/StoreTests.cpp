// SPDX-License-Identifier: MIT
#include "Models/LiveQuery.h"
#include "Support/ScratchFolder.h"
