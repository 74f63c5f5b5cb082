// SPDX-License-Identifier: MIT
#include "Discovery/SearchCriteria.h"

#include "Registration/NameCase.h"

namespace quillbrook {

bool SearchCriteria::matches(const FileCandidate& candidate) const {
  if (modifiedBefore && candidate.modificationDate > *modifiedBefore) return false;
  if (minSize && candidate.size < *minSize) return false;
  if (maxSize && candidate.size > *maxSize) return false;
  if (extensionFilter && !extensionFilter->passes(NameCase::lowercased(candidate.url.extension()))) return false;
  if (excludeAlreadyCompressed && candidate.isAlreadyCompressed) return false;
  return !(excludeHidden && candidate.isHidden);
}

}  // namespace quillbrook
