// SPDX-License-Identifier: MIT
#pragma once

#include <stop_token>

#include "Container/ContainerState.h"
#include "Platform/ErrorNumber.h"
#include "Platform/Linux/RedoRecord.h"

// Turns a container back into an ordinary file in place, so that its inode, hard links, open handles, attributes and
// owner stay. The order makes it safe at every moment: the decoded content is written to a redo copy in the volume's
// private folder and synced; the state then names that copy, synced; the inode is rewritten and synced; the state goes;
// the copy goes. From the moment the state names it until the state goes, the copy is the content.
// Calls for one inode must not overlap: the caller holds that inode's lock.
namespace quillbrook::Expansion {

// `source` is a descriptor of the volume's source folder, `file` one of the container, open for reading and writing.
// Access and modification times stay. Runs of zeros come back as holes. `noSpace` and every other failure before the
// copy is named leave the container as it was. `inputOutput` if the container is damaged or has surplus bytes;
// `cancelled` after a stop, which counts until the copy is named.
[[nodiscard]] Result<void> expand(int source, int file, const ContainerState& state, const std::stop_token& stop = {});

// The same for a file that becomes empty: nothing is decoded, no copy is needed.
[[nodiscard]] Result<void> expandToNothing(int file, const ContainerState& state);

// Completes an expansion that a crash interrupted: `state.redoIdentifier` is not 0.
[[nodiscard]] Result<void> finish(int source, int file, const ContainerState& state);

// Undoes what an expansion does to the container itself before its copy is named: the space set aside behind its end,
// and the times that this changed.
void abandon(int file, const ContainerState& state, const RedoRecord& record);

}  // namespace quillbrook::Expansion
