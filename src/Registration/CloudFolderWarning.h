// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "Registration/CloudService.h"

// What the user reads before a place that a cloud service mirrors is registered.
namespace quillbrook::CloudFolderWarning {

[[nodiscard]] std::string heading(CloudService service);

// Emphasis stands between pairs of "**".
inline constexpr std::array<std::string_view, 3> bulletPoints{
    "クラウド側は **非圧縮** のままなのでクラウド容量は減りません。ローカルの SSD だけが節約されます。",
    "**他端末・Web で編集**された変更が同期で書き戻されると圧縮が剥がれます。",
    "圧縮による xattr / フラグの変更を sync が「変更」と検知して **再アップロード** が走る可能性があります。"};

inline constexpr std::string_view cancelTitle = "キャンセル";
inline constexpr std::string_view continueTitle = "それでも登録";

}  // namespace quillbrook::CloudFolderWarning
