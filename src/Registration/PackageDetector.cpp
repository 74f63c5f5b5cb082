// SPDX-License-Identifier: MIT
#include "Registration/PackageDetector.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "Registration/NameCase.h"

namespace quillbrook::PackageDetector {
namespace {

// In the order of their bytes. Frameworks are not among them: they are bundles that show as the folders that they are.
constexpr std::array<std::string_view, 43> packageExtensions{
    "action",        "aplibrary",  "app",          "appex",           "band",          "bundle",      "component",
    "dext",          "docset",     "dsym",         "fcpbundle",       "imovielibrary", "kext",        "key",
    "logicx",        "mdimporter", "mpkg",         "musiclibrary",    "numbers",       "pages",       "photolibrary",
    "photoslibrary", "pkg",        "playground",   "plugin",          "prefpane",      "qlgenerator", "rtfd",
    "saver",         "scptd",      "sparsebundle", "systemextension", "tvlibrary",     "vst",         "vst3",
    "wdgt",          "workflow",   "xcarchive",    "xcodeproj",       "xcresult",      "xctest",      "xcworkspace",
    "xpc",
};
static_assert(std::ranges::is_sorted(packageExtensions), "looked up by halving");

}  // namespace

bool isPackage(const FilePath& url, FileKind kind) {
  if (kind != FileKind::directory) return false;
  return std::ranges::binary_search(packageExtensions, std::string_view(NameCase::lowercased(url.extension())));
}

}  // namespace quillbrook::PackageDetector
