// SPDX-License-Identifier: MIT
#include "App/CommandLineHelp.h"

namespace quillbrook {

const std::string_view CommandLineHelp::text = R"(Quillbrook — macOS の透過圧縮 (decmpfs) を扱う GUI アプリ

使い方:
  open -a Quillbrook                            通常 GUI を起動
  open -a Quillbrook --args --auto-recompress   登録済み項目を一括再圧縮して終了
  open -a Quillbrook --args --help              この使い方を表示
  open -a Quillbrook --args --version           バージョン情報を表示

cron / launchd で定期実行する例:
  0 3 * * 0 /usr/bin/open -a Quillbrook --args --auto-recompress
  （毎週日曜 3:00 に登録済み項目を再圧縮）

詳細:
  --auto-recompress
    登録済みファイル / フォルダを順次走査し、未圧縮かつサイズ条件を満たす
    ファイルを LZFSE で圧縮します。完了するとアプリは自動終了します。
    2 GB（decmpfs 形式の上限）を超えるファイルは自動的にスキップされます。

    編集中ファイル保護:
      直近 30 分以内に更新されたファイルはバックグラウンド圧縮の対象から
      自動的に外します。これは「アプリでファイルを開いて編集中」のケースで
      ユーザーの未保存変更が巻き戻されるのを防ぐためです(一般的なアプリは
      flock を使わないため、修正時刻ベースで保守的にガードしています)。
      長時間開いて時々保存するワークフローでも、保存後 30 分間は触らない
      安全マージンを取っています。

終了コード:
  0  正常完了
  1  致命的失敗
)";

}  // namespace quillbrook
