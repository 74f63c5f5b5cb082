// SPDX-License-Identifier: MIT
#include "Discovery/SearchForm.h"

#include "Discovery/MegabyteText.h"

namespace quillbrook {

SearchCriteria SearchForm::criteria(Timestamp now, const UserCalendar& calendar) const {
  SearchCriteria criteria{.rootURL = rootURL,
                          .recursive = recursive,
                          .modifiedBefore = std::nullopt,
                          .minSize = MegabyteText::bytes(minSizeMB),
                          .maxSize = MegabyteText::bytes(maxSizeMB),
                          .extensionFilter = filterOf(extPreset),
                          .excludeAlreadyCompressed = excludeAlreadyCompressed,
                          .excludeHidden = excludeHidden};
  if (dateMode == DateMode::olderThan) criteria.modifiedBefore = calendar.before(now, dateValue, dateUnit);
  return criteria;
}

}  // namespace quillbrook
