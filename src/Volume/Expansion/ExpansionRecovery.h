// SPDX-License-Identifier: MIT
#pragma once

namespace quillbrook {

namespace ExpansionRecovery {

// Completes the expansions that a crash interrupted and removes the redo copies that nobody names. A copy whose file
// cannot be found stays: nobody can say then whether a state names it. `source` is a descriptor of the volume's source
// folder, and no daemon may be serving it.
void run(int source);

}  // namespace ExpansionRecovery
}  // namespace quillbrook
