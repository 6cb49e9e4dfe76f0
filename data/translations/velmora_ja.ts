<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja_JP" sourcelanguage="en_US">
<context>
    <name></name>
    <message id="AppDelegate_1">
        <translation>マウントポイントは「/」で始まる必要があります。

フォルダーのフルパスを入力してください（例: /Volumes/Office）。</translation>
    </message>
    <message id="AppDelegate_2">
        <translation>マウントポイントは2階層以上の深さにしてください。

「/」の直下のフォルダーは使えません。/Volumes/Office のようなパスを入力してください。</translation>
    </message>
    <message id="AppDelegate_3">
        <translation>マウントポイントがフォルダーではなくファイルです。

別のパスを指定するか、そのファイルを移動してください。</translation>
    </message>
    <message id="AppDelegate_4">
        <translation>マウントポイントの親フォルダーがありません。

先に親フォルダーを作成するか、既存のフォルダーの中を指定してください。パスの最後のフォルダーは自動的に作成されます。</translation>
    </message>
    <message id="AppDelegate_5">
        <translation>マウントポイントが指定されていません。

フォルダーのパスを入力するか、既定のマウントポイントを使ってください。</translation>
    </message>
    <message id="AppDelegate_6">
        <translation>サーバーに接続できませんでした。

URL、ネットワーク接続、プロキシ設定を確認して、もう一度お試しください。</translation>
    </message>
    <message id="AppDelegate_7">
        <translation>このアドレスのサーバーは WebDAV に対応していません。

URL を確認してください。パスに WebDAV フォルダーを指定する必要があるかもしれません。</translation>
    </message>
    <message id="AppDelegate_8">
        <translation>サーバーで内部エラーが発生したか、サーバーが混み合っています。

しばらくしてからもう一度お試しください。続く場合はサーバーの管理者に連絡してください。</translation>
    </message>
    <message id="AppDelegate_9">
        <translation>サーバーが要求を拒否しました。

URL と、このフォルダーを利用する権限がアカウントにあるかを確認してください。</translation>
    </message>
    <message id="AppDelegate_10">
        <translation>サーバーから予期しない応答がありました。

URL を確認してください。サーバーのステータス行はログに記録されています。</translation>
    </message>
    <message id="AppDelegate_11">
        <translation>URL の示すサーバー上のフォルダーを開けませんでした。

URL のパスと、そのフォルダーに対する権限を確認してください。</translation>
    </message>
    <message id="AppDelegate_12">
        <translation>フォルダーを開く際にサーバーで内部エラーが発生しました。

しばらくしてからもう一度お試しください。続く場合はサーバーの管理者に連絡してください。</translation>
    </message>
    <message id="AppDelegate_13">
        <translation>URL のフォルダーを正しく読み取れませんでした。

もう一度お試しください。サーバーの応答はログに記録されています。</translation>
    </message>
    <message id="AppDelegate_51">
        <translation>その名前の接続はありません。

保存済みの接続を選ぶか、先に接続を追加してください。</translation>
    </message>
    <message id="AppDelegate_52">
        <translation>現在マウント中の接続があります。

マウント中の接続は変更できません。先にマウントを解除してください。</translation>
    </message>
    <message id="AppDelegate_66">
        <translation>ログファイルの選択</translation>
    </message>
    <message id="AppDelegate_67">
        <translation>この URL または場所は使用できません。

サーバーの URL は「http:」または「https:」で始まる必要があります。ログファイルは書き込み可能なフォルダーに置いてください。</translation>
    </message>
    <message id="AppDelegate_68">
        <translation>接続「%1」を起動時にマウントできませんでした。

自動マウントを解除しました。接続できるようになったら、設定で再度有効にしてください。</translation>
    </message>
    <message id="Common_Button_Cancel">
        <translation>キャンセル</translation>
    </message>
    <message id="Common_Button_NO">
        <translation>いいえ</translation>
    </message>
    <message id="Common_Button_OK">
        <translation>OK</translation>
    </message>
    <message id="Common_Button_YES">
        <translation>はい</translation>
    </message>
    <message id="Common_Confirm_Title">
        <translation>確認</translation>
    </message>
    <message id="Common_Delivery">
        <translation>配信</translation>
    </message>
    <message id="Common_Error_Title">
        <translation>エラー</translation>
    </message>
    <message id="Common_Title">
        <translation>Velmora Disk</translation>
    </message>
    <message id="Common_WebPublic_Confirm_Title">
        <translation>Web 公開の確認</translation>
    </message>
    <message id="Common_WebPublic_Error_Title">
        <translation>Web 公開エラー</translation>
    </message>
    <message id="Common_WebPublic_Title">
        <translation>Web 公開</translation>
    </message>
    <message id="KQSelfServerCertificateWindowController_0">
        <translation>サーバー「%1」の証明書を検証できませんでした。接続を続けますか？</translation>
    </message>
    <message id="KQSelfServerCertificateWindowController_1">
        <translation>証明書が自己署名である、期限が切れている、または別のホストのものである可能性があり、通信が盗聴されるおそれがあります。このサーバーを信頼できる場合にのみ「はい」を選んでください。この選択は今回の接続に限り有効です。</translation>
    </message>
    <message id="Preferences_0">
        <translation>設定ファイルが壊れていたため、「%1」として退避しました。

設定なしで続行します。そのファイルを修復して「%2」に戻すか、接続を再入力してください。</translation>
    </message>
    <message id="Preferences_1">
        <translation>設定ファイル「%1」を読み取れませんでした: %2

読み取り権限を確認してください。それまで設定の読み込みと保存は行われません。</translation>
    </message>
    <message id="Preferences_2">
        <translation>設定を「%1」に保存できませんでした: %2

ファイルとフォルダーの権限、および空き容量を確認してください。</translation>
    </message>
    <message id="ProgressBar_1">
        <translation>準備中</translation>
    </message>
    <message id="ProgressBar_2">
        <translation>送信済み</translation>
    </message>
    <message id="VDLockController_0">
        <translation>「%1%2」（接続「%3」）のロックを更新できませんでした。サーバー上でロックされています。

他のユーザーが変更する可能性があります。別名で保存するか、ファイルを閉じて開き直してください。</translation>
    </message>
    <message id="VDLockController_1">
        <translation>「%1%2」（接続「%3」）のロックが失われました。他のユーザーがロックしています。

変更内容は別名で保存してください。</translation>
    </message>
    <message id="VDLockController_2">
        <translation>「%1%2」（接続「%3」）のロックを更新できませんでした。サーバーが許可していません。

権限を確認し、必要に応じて変更内容を別名で保存してください。</translation>
    </message>
    <message id="VDLockController_3">
        <translation>「%1%2」（接続「%3」）のロックを更新できませんでした。サーバーに接続できません。

ネットワーク接続を確認してから、ファイルを閉じて開き直してください。</translation>
    </message>
    <message id="VDLockController_4">
        <translation>「%1%2」（接続「%3」）のロックを更新できませんでした。サーバーから予期しない応答がありました。

別名で保存するか、ファイルを閉じて開き直してください。</translation>
    </message>
    <message id="VDWebDAVConnect_0">
        <translation>プロキシへのログイン</translation>
    </message>
    <message id="VelmoraDisk_0">
        <translation>「%1」を保存できませんでした。サーバーがログインを受け付けません。

マウントを解除し、正しいユーザー名とパスワードでマウントし直してから、もう一度保存してください。</translation>
    </message>
    <message id="VelmoraDisk_1">
        <translation>ファイルを保存できませんでした。サーバーはこの種類のファイル（%1）を受け付けません。

別の拡張子の名前で保存してください。</translation>
    </message>
    <message id="VelmoraDisk_2">
        <translation>「%1」を保存できませんでした。「%2」のサーバーで内部エラーが発生したか、サーバーが混み合っています。

しばらくしてからもう一度お試しください。続く場合はサーバーの管理者に連絡してください。</translation>
    </message>
    <message id="VelmoraDisk_3">
        <translation>「%1」を保存できませんでした。サーバーがこの形式の内容を受け付けません。

別の形式で保存するか、サーバーの管理者に連絡してください。</translation>
    </message>
    <message id="VelmoraDisk_4">
        <translation>「%1」を保存できませんでした。「%2」のサーバー上で他のユーザーがロックしています。

ロックが解除されるまで待つか、別名で保存してください。</translation>
    </message>
    <message id="VelmoraDisk_5">
        <translation>「%1」を保存できませんでした。「%2」のサーバーに接続できません。

ネットワーク接続を確認して、もう一度保存してください。</translation>
    </message>
    <message id="VelmoraDisk_6">
        <translation>「%1」を保存できませんでした。サーバーの空き容量がありません。

不要なファイルを削除するか、容量の追加を依頼してください。</translation>
    </message>
    <message id="VelmoraDisk_7">
        <translation>「%1」を保存できませんでした。「%2」のサーバーから予期しない応答がありました。

サーバーのステータス行はログに記録されています。もう一度試すか、別名で保存してください。</translation>
    </message>
    <message id="VelmoraDisk_8">
        <translation>「%1」をサーバーに保存できませんでした。変更後のファイルは「%2」に保管しました。

原因を取り除いてから、ディスクにコピーし直してください。</translation>
    </message>
    <message id="VelmoraDisk_9">
        <translation>ファイルを保存できませんでした。サーバーに拒否されました。

別の名前または別のフォルダーに保存してください。</translation>
    </message>
    <message id="VelmoraDisk_10">
        <translation>「%1」を保存できませんでした。サーバーが受け付けるサイズを超えています。

分割または圧縮するか、サーバーの管理者に連絡してください。</translation>
    </message>
    <message id="GMUserFileSystem_NotAbsolute">
        <translation>マウントポイント「%1」は絶対パスではありません。

/Volumes/Office のように、フォルダーの絶対パスを指定してください。</translation>
    </message>
    <message id="GMUserFileSystem_ParentMissing">
        <translation>マウントポイント「%1」を作成できません。フォルダー「%2」が存在しません。

先にそのフォルダーを作成するか、別のマウントポイントを選んでください。</translation>
    </message>
    <message id="GMUserFileSystem_CannotMakeFolder">
        <translation>マウントポイント「%1」を作成できません: %2。

フォルダーを自分で作成するか、書き込み可能なフォルダーの中をマウントポイントに選んでください。</translation>
    </message>
    <message id="GMUserFileSystem_NotFolder">
        <translation>マウントポイント「%1」はフォルダーではありません。

別のマウントポイントを選ぶか、そのファイルを移動してください。</translation>
    </message>
    <message id="GMUserFileSystem_NotEmpty">
        <translation>マウントポイント「%1」は空ではありません。

空のフォルダーか、まだ存在しないフォルダーを選んでください。</translation>
    </message>
    <message id="GMUserFileSystem_AlreadyMounted">
        <translation>「%1」にはすでに別のディスクがマウントされています。

先にそれをマウント解除するか、別のマウントポイントを選んでください。</translation>
    </message>
    <message id="GMUserFileSystem_DeadMount">
        <translation>「%1」のマウントは応答せず、取り除くこともできません。

マウントしたユーザーでそのフォルダーに「fusermount3 -u -z」を実行するか、別のマウントポイントを選んでください。</translation>
    </message>
    <message id="GMUserFileSystem_Unusable">
        <translation>マウントポイント「%1」は使用できません: %2。

別のマウントポイントを選んでください。</translation>
    </message>
    <message id="GMUserFileSystem_DeviceForbidden">
        <translation>「%1」をマウントできません。%2 を使用する権限がありません。

%2 の読み書きの権限を管理者に依頼してください。</translation>
    </message>
    <message id="GMUserFileSystem_DeviceMissing">
        <translation>「%1」をマウントできません。このシステムには %2 がありません。

カーネルの fuse モジュールを読み込んでください（「modprobe fuse」）。</translation>
    </message>
    <message id="GMUserFileSystem_HelperMissing">
        <translation>「%1」をマウントできません。プログラム fusermount3 が見つかりません。

パッケージ fuse3 をインストールしてください。</translation>
    </message>
    <message id="GMUserFileSystem_Refused">
        <translation>システムが「%1」のマウントを拒否しました: %2。

そのフォルダーの所有者であること、マウントが許可されていることを確認してください。</translation>
    </message>
    <message id="GMUserFileSystem_Cancelled">
        <translation>「%1」のマウントは取り消されました。</translation>
    </message>
    <message id="GMUserFileSystem_NoAnswer">
        <translation>「%1」をマウントできませんでした。システムとボリュームの通信方式が一致しません。

もう一度お試しください。理由はログに記録されています。</translation>
    </message>
    <message id="GMUserFileSystem_UnknownOption">
        <translation>マウントオプション「%1」は不明なため、効果がありません。</translation>
    </message>
    <message id="GMUserFileSystem_UnfitName">
        <translation>「%1」には、このシステムでは表示できない名前の項目があるため省かれます: 「%2」。表示するにはサーバー上で名前を変更してください。</translation>
    </message>
    <message id="AppDelegate_53">
        <translation>接続できました。サーバーに到達し、ログインできました。</translation>
    </message>
    <message id="AppDelegate_54">
        <translation>その名前の接続はすでにあります。別の名前を指定してください。</translation>
    </message>
    <message id="AppDelegate_55">
        <translation>マウントポイントが別の接続と同じか、一方が他方の中にあります。別のマウントポイントを指定してください。</translation>
    </message>
    <message id="AppDelegate_56">
        <translation>接続に名前を付けてください。「new connection」は使えません。</translation>
    </message>
    <message id="AppDelegate_57">
        <translation>接続名に「/」や制御文字は使えません。「.」と「..」も使えません。別の名前を指定してください。</translation>
    </message>
    <message id="AppDelegate_61">
        <translation>接続はマウント中です。先にマウントを解除してください。</translation>
    </message>
    <message id="Cli_ArgumentMissing">
        <translation>引数が足りません: %1</translation>
    </message>
    <message id="Cli_AutoAlone">
        <translation>--auto は印の付いた接続をマウントするもので、名前は指定できません。名前を指定する場合は --auto を付けないでください。</translation>
    </message>
    <message id="Cli_BadValue">
        <translation>--%1 の値が使用できません。%2 を指定してください。</translation>
    </message>
    <message id="Cli_Cancelled">
        <translation>キャンセルされました。</translation>
    </message>
    <message id="Cli_CommandIncomplete">
        <translation>「%1」の後には、次のいずれかの語が必要です: %2</translation>
    </message>
    <message id="Cli_Command_Add">
        <translation>接続を保存します</translation>
    </message>
    <message id="Cli_Command_Edit">
        <translation>保存した接続を変更します</translation>
    </message>
    <message id="Cli_Command_List">
        <translation>保存した接続を一覧します</translation>
    </message>
    <message id="Cli_Command_Log">
        <translation>ログの場所と末尾を表示します</translation>
    </message>
    <message id="Cli_Command_Mount">
        <translation>保存した接続または URL をマウントします</translation>
    </message>
    <message id="Cli_Command_Remove">
        <translation>保存した接続を削除します</translation>
    </message>
    <message id="Cli_Command_Show">
        <translation>保存した接続を表示します(パスワードは表示しません)</translation>
    </message>
    <message id="Cli_Command_Status">
        <translation>マウント中のものを表示します</translation>
    </message>
    <message id="Cli_Command_Test">
        <translation>マウントせずにサーバーへのログインを試します</translation>
    </message>
    <message id="Cli_Command_Unmount">
        <translation>マウントを終了します</translation>
    </message>
    <message id="Cli_Expected_Number">
        <translation>0 以上の整数</translation>
    </message>
    <message id="Cli_Expected_Proxy">
        <translation>none、system、または ホスト:ポート（ポートは 1 から 65535）</translation>
    </message>
    <message id="Cli_Expected_YesNo">
        <translation>yes または no</translation>
    </message>
    <message id="Cli_Field_AutoMount">
        <translation>起動時にマウント</translation>
    </message>
    <message id="Cli_Field_Certificate">
        <translation>クライアント証明書</translation>
    </message>
    <message id="Cli_Field_DivideSize">
        <translation>アップロード分割サイズ(番号)</translation>
    </message>
    <message id="Cli_Field_MountPoint">
        <translation>マウントポイント</translation>
    </message>
    <message id="Cli_Field_Mounted">
        <translation>マウント中</translation>
    </message>
    <message id="Cli_Field_Name">
        <translation>名前</translation>
    </message>
    <message id="Cli_Field_OwnMountPoint">
        <translation>独自のマウントポイント</translation>
    </message>
    <message id="Cli_Field_ProxyHost">
        <translation>プロキシのホスト</translation>
    </message>
    <message id="Cli_Field_ProxyLogin">
        <translation>プロキシのログイン</translation>
    </message>
    <message id="Cli_Field_ProxyPassword">
        <translation>プロキシのパスワードを保存</translation>
    </message>
    <message id="Cli_Field_ProxyPort">
        <translation>プロキシのポート</translation>
    </message>
    <message id="Cli_Field_ProxyUser">
        <translation>プロキシのユーザー</translation>
    </message>
    <message id="Cli_Field_SavePassword">
        <translation>パスワードを保存</translation>
    </message>
    <message id="Cli_Field_SaveUser">
        <translation>ユーザー名を保存</translation>
    </message>
    <message id="Cli_Field_SelfSigned">
        <translation>検証できない証明書を許可</translation>
    </message>
    <message id="Cli_Field_SystemProxy">
        <translation>システムのプロキシ</translation>
    </message>
    <message id="Cli_Field_Url">
        <translation>URL</translation>
    </message>
    <message id="Cli_Field_UseProxy">
        <translation>プロキシを使用</translation>
    </message>
    <message id="Cli_Field_User">
        <translation>ユーザー</translation>
    </message>
    <message id="Cli_HelpHead">
        <translation>Velmora Disk は WebDAV サーバーのフォルダーをディスクとしてマウントします。

velmoradisk コマンド [オプション...]
</translation>
    </message>
    <message id="Cli_HelpFoot">
        <translation>
「velmoradisk コマンド --help」でオプションを、「man velmoradisk」で詳細を表示します。
--help, --version</translation>
    </message>
    <message id="Cli_InUse">
        <translation>「%1」はプログラムが使用中のため、マウントされたままです。--force を付けると切り離します。</translation>
    </message>
    <message id="Cli_LogEmpty">
        <translation>ログにはまだ何も記録されていません。</translation>
    </message>
    <message id="Cli_LoginRefused">
        <translation>指定されたログインはサーバーに拒否されました。ユーザー名とパスワードを確認してください。</translation>
    </message>
    <message id="Cli_LoginTitle">
        <translation>サーバーがログインを求めています。</translation>
    </message>
    <message id="Cli_MarkedAreMounted">
        <translation>自動マウントの印が付いた接続は、すべてマウント済みです。</translation>
    </message>
    <message id="Cli_MountFailed">
        <translation>「%1」をマウントできませんでした。「velmoradisk log」で理由を確認できる場合があります。</translation>
    </message>
    <message id="Cli_MountPointTaken">
        <translation>「%1」は「%2」のマウントポイントか、その中にあります。--mount-point で別の場所を指定してください。</translation>
    </message>
    <message id="Cli_Mounted">
        <translation>「%1」を %2 にマウントしました</translation>
    </message>
    <message id="Cli_MountedAlready">
        <translation>「%1」はすでに %2 にマウントされています</translation>
    </message>
    <message id="Cli_MountedNoEdit">
        <translation>「%1」はマウント中のため変更できません。先にマウントを解除してください。</translation>
    </message>
    <message id="Cli_NameNeedsUrl">
        <translation>--name は URL のボリューム名を指定するものです。保存済みの接続には名前があります。</translation>
    </message>
    <message id="Cli_NameTaken">
        <translation>「%1」は保存した接続の名前です。--name で別の名前を指定してください。</translation>
    </message>
    <message id="Cli_NameTooLong">
        <translation>名前が長すぎます。255 バイトまでです。</translation>
    </message>
    <message id="Cli_No">
        <translation>いいえ</translation>
    </message>
    <message id="Cli_NoCommand">
        <translation>コマンドがありません。</translation>
    </message>
    <message id="Cli_NoConnection">
        <translation>接続「%1」はありません。「velmoradisk connection list」で保存した接続を確認できます。</translation>
    </message>
    <message id="Cli_NoLog">
        <translation>ログを読めません: %1</translation>
    </message>
    <message id="Cli_NoPasswordInput">
        <translation>--%1: 標準入力にパスワードがありません。</translation>
    </message>
    <message id="Cli_NoTerminalForPassword">
        <translation>パスワードを尋ねる端末がありません。--%1 で渡してください。</translation>
    </message>
    <message id="Cli_NoVolumes">
        <translation>フォルダー「%1」がありません。scripts/setup で作成するか、--mount-point で別の場所を指定してください。</translation>
    </message>
    <message id="Cli_NoneMarked">
        <translation>自動マウントの印が付いた接続はありません。「velmoradisk connection edit 名前 --auto-mount yes」で印を付けられます。</translation>
    </message>
    <message id="Cli_NotMounted">
        <translation>「%1」はマウントされていません。「velmoradisk status」でマウント中のものを確認できます。</translation>
    </message>
    <message id="Cli_NotSet">
        <translation>未設定</translation>
    </message>
    <message id="Cli_NothingToEdit">
        <translation>変更する内容が指定されていません。オプションを 1 つ以上指定してください。</translation>
    </message>
    <message id="Cli_Option_AcceptCertificate">
        <translation>検証できない証明書をこのセッションに限り許可します</translation>
    </message>
    <message id="Cli_Option_Auto">
        <translation>--auto-mount の付いた接続をマウントします</translation>
    </message>
    <message id="Cli_Option_AutoMount">
        <translation>起動時にマウントするか</translation>
    </message>
    <message id="Cli_Option_Certificate">
        <translation>クライアント証明書を使うか</translation>
    </message>
    <message id="Cli_Option_DefaultMountPoint">
        <translation>/Volumes/名前 にマウントします</translation>
    </message>
    <message id="Cli_Option_DivideSize">
        <translation>アップロード分割サイズの番号(マウントでは分割しません)</translation>
    </message>
    <message id="Cli_Option_Follow">
        <translation>続けて新しい行を表示します</translation>
    </message>
    <message id="Cli_Option_Force">
        <translation>使用中でも切り離します</translation>
    </message>
    <message id="Cli_Option_Foreground">
        <translation>マウントが終わるまで待ちます(Ctrl-C で終了)</translation>
    </message>
    <message id="Cli_Option_Json">
        <translation>スクリプト向けの形式</translation>
    </message>
    <message id="Cli_Option_Lines">
        <translation>行数(既定は 20)</translation>
    </message>
    <message id="Cli_Option_MountPoint">
        <translation>マウントする場所(${user} と ${mac_user} を使えます)</translation>
    </message>
    <message id="Cli_Option_MountPointOnce">
        <translation>今回マウントする場所</translation>
    </message>
    <message id="Cli_Option_Name">
        <translation>ボリュームの名前(URL の場合)</translation>
    </message>
    <message id="Cli_Option_NoProxyUser">
        <translation>プロキシはログイン不要です</translation>
    </message>
    <message id="Cli_Option_NoSavePassword">
        <translation>パスワードを保存しません</translation>
    </message>
    <message id="Cli_Option_NoSaveUser">
        <translation>ユーザー名を保存しません</translation>
    </message>
    <message id="Cli_Option_PasswordStdin">
        <translation>標準入力の 1 行目のパスワードを保存します</translation>
    </message>
    <message id="Cli_Option_PasswordStdinOnce">
        <translation>標準入力の 1 行目をパスワードとします</translation>
    </message>
    <message id="Cli_Option_Path">
        <translation>パスだけを表示します</translation>
    </message>
    <message id="Cli_Option_Proxy">
        <translation>プロキシなし、システムの設定、または指定</translation>
    </message>
    <message id="Cli_Option_ProxyPassword">
        <translation>プロキシのパスワードを尋ねて保存します</translation>
    </message>
    <message id="Cli_Option_ProxyPasswordStdin">
        <translation>標準入力の次の行をプロキシのパスワードとして保存します</translation>
    </message>
    <message id="Cli_Option_ProxyUser">
        <translation>プロキシのログイン名</translation>
    </message>
    <message id="Cli_Option_Rename">
        <translation>新しい名前</translation>
    </message>
    <message id="Cli_Option_SavePassword">
        <translation>パスワードを尋ねて保存します</translation>
    </message>
    <message id="Cli_Option_SaveUser">
        <translation>ユーザー名を保存します(--user と同じ)</translation>
    </message>
    <message id="Cli_Option_SelfSigned">
        <translation>検証できない証明書を許可するか</translation>
    </message>
    <message id="Cli_Option_Url">
        <translation>サーバー上のフォルダー(http:// または https://)</translation>
    </message>
    <message id="Cli_Option_User">
        <translation>サーバーのログイン名(保存します)</translation>
    </message>
    <message id="Cli_Option_UserOnce">
        <translation>今回使うログイン名</translation>
    </message>
    <message id="Cli_PasswordsDiffer">
        <translation>2 つのパスワードが一致しません。保存しませんでした。</translation>
    </message>
    <message id="Cli_PromptAgain">
        <translation>もう一度: </translation>
    </message>
    <message id="Cli_PromptPassword">
        <translation>パスワード: </translation>
    </message>
    <message id="Cli_PromptProxyPassword">
        <translation>プロキシのパスワード: </translation>
    </message>
    <message id="Cli_PromptUser">
        <translation>ユーザー: </translation>
    </message>
    <message id="Cli_PromptUserOr">
        <translation>ユーザー [%1]: </translation>
    </message>
    <message id="Cli_ServiceEnded">
        <translation>バックグラウンドのプロセスが応答前に終了しました。「velmoradisk log」で理由を確認できます。</translation>
    </message>
    <message id="Cli_ServiceFailed">
        <translation>バックグラウンドのプロセスを開始できません: %1</translation>
    </message>
    <message id="Cli_ServiceFolder">
        <translation>%1: %2</translation>
    </message>
    <message id="Cli_ServiceStopping">
        <translation>バックグラウンドのプロセスが終了中です。終了後にもう一度お試しください。</translation>
    </message>
    <message id="Cli_SettingsBusy">
        <translation>別のコマンドが保存した接続を変更しています。終了後にもう一度お試しください。</translation>
    </message>
    <message id="Cli_Status_Dead">
        <translation>異常終了しました。失われたものはありません。未送信のファイルは残っており、次のマウントまたはマウント解除のときにホームに保存されます。もう一度マウントするか、「velmoradisk unmount %1」で取り除いてください。</translation>
    </message>
    <message id="Cli_Status_Message">
        <translation>メッセージ（%1）: %2</translation>
    </message>
    <message id="Cli_Status_MountPoint">
        <translation>マウントポイント</translation>
    </message>
    <message id="Cli_Status_Mounting">
        <translation>マウントの準備中</translation>
    </message>
    <message id="Cli_Status_NoAnswer">
        <translation>不明（サーバーが通知しません）</translation>
    </message>
    <message id="Cli_Status_Nothing">
        <translation>何もマウントされていません。</translation>
    </message>
    <message id="Cli_Status_Server">
        <translation>サーバー</translation>
    </message>
    <message id="Cli_Status_Since">
        <translation>開始</translation>
    </message>
    <message id="Cli_Status_Sizes">
        <translation>使用 %1、空き %2、合計 %3</translation>
    </message>
    <message id="Cli_Status_Space">
        <translation>容量</translation>
    </message>
    <message id="Cli_Status_User">
        <translation>ユーザー</translation>
    </message>
    <message id="Cli_Status_Unmounting">
        <translation>マウントを解除しています。</translation>
    </message>
    <message id="Cli_Status_UnmountingSends">
        <translation>マウントを解除していますが、書き込まれた内容をまだ送信中です。</translation>
    </message>
    <message id="Cli_Status_Unreachable">
        <translation>サーバーに接続できません。</translation>
    </message>
    <message id="Cli_Status_Uploading">
        <translation>アップロード中</translation>
    </message>
    <message id="Cli_StillUnmounting">
        <translation>「%1」はまだマウントを解除しています。書き込まれた内容を送信中です（「velmoradisk status」で確認できます）。終わってからもう一度マウントしてください。</translation>
    </message>
    <message id="Cli_Stopping">
        <translation>プログラムは終了中です。</translation>
    </message>
    <message id="Cli_TargetMissing">
        <translation>保存した接続の名前か URL を指定してください。</translation>
    </message>
    <message id="Cli_TooManyArguments">
        <translation>引数が多すぎます。形式: %1</translation>
    </message>
    <message id="Cli_TryHelp">
        <translation>「%1 --help」を参照してください。</translation>
    </message>
    <message id="Cli_Unattended_Certificate">
        <translation>尋ねる端末がないため拒否しました。--accept-certificate を付けるとこのセッションに限り許可します。</translation>
    </message>
    <message id="Cli_Unattended_Login">
        <translation>サーバーがログインを求めていますが、尋ねる端末がありません。--user と --password-stdin を指定してください。</translation>
    </message>
    <message id="Cli_Unattended_ProxyLogin">
        <translation>プロキシがログインを求めているか、保存されたログインを拒否しましたが、尋ねる端末がありません。「velmoradisk connection edit」の --proxy-user と --proxy-password-stdin で保存してください。</translation>
    </message>
    <message id="Cli_UnknownCommand">
        <translation>コマンド「%1」はありません。</translation>
    </message>
    <message id="Cli_UnknownOption">
        <translation>ここにオプション「%1」はありません。</translation>
    </message>
    <message id="Cli_UnknownRequest">
        <translation>バックグラウンドのプロセスがこの要求に対応していません。別の版の可能性があります。すべてのマウントを解除してやり直してください。</translation>
    </message>
    <message id="Cli_Unmounting">
        <translation>「%1」に書き込まれた内容がすべてサーバーに送られるのを待っています。</translation>
    </message>
    <message id="Cli_Uploaded">
        <translation>(%2 中 %1 送信済み)</translation>
    </message>
    <message id="Cli_UrlMissing">
        <translation>--url がありません。</translation>
    </message>
    <message id="Cli_Url_Fragment">
        <translation>URL にはフォルダだけを指定してください。「#」以降は使用できません。フォルダ名の「#」は %23 と書いてください。</translation>
    </message>
    <message id="Cli_Url_Host">
        <translation>URL に使用できるホスト名がありません。http://ホスト/フォルダ/ または http://ホスト:ポート/フォルダ/ の形で指定してください（IPv6 アドレスは [ ] で囲みます）。</translation>
    </message>
    <message id="Cli_Url_Invalid">
        <translation>この URL は使えません。コード 0 の文字が含まれています。「%00」を取り除いてください。</translation>
    </message>
    <message id="Cli_Url_Login">
        <translation>URL にログイン情報を入れないでください。他人に見えてしまいます。--user と --password-stdin を使ってください。</translation>
    </message>
    <message id="Cli_Url_Port">
        <translation>URL のポートが使用できません。1 から 65535 までの数を指定してください。</translation>
    </message>
    <message id="Cli_Url_Query">
        <translation>URL にはフォルダだけを指定してください。「?」以降は使用できません。</translation>
    </message>
    <message id="Cli_Url_QuestionMark">
        <translation>名前に「?」を含むフォルダーはマウントの起点にできません。上のフォルダーをマウントしてください。</translation>
    </message>
    <message id="Cli_Url_Scheme">
        <translation>URL は https://dav.example.com/files/ のように、http:// または https:// で始めてください。</translation>
    </message>
    <message id="Cli_ValueMissing">
        <translation>%1 の値がありません。</translation>
    </message>
    <message id="Cli_ValueTooMany">
        <translation>%1 に値は指定できません。</translation>
    </message>
    <message id="Cli_Yes">
        <translation>はい</translation>
    </message>
    <message id="VDLoginWindow_title">
        <translation>ログイン</translation>
    </message>
    <message id="VDLoginWindow_lblQuestion">
        <translation>ユーザー名とパスワードを入力してください。</translation>
    </message>
    <message id="VDLoginWindow_server">
        <translation>「%1」のユーザー名とパスワードを入力してください。</translation>
    </message>
    <message id="VDLoginWindow_lblUsername">
        <translation>ユーザー名(&amp;U):</translation>
    </message>
    <message id="VDLoginWindow_lblPassword">
        <translation>パスワード(&amp;P):</translation>
    </message>
    <message id="VDLoginWindow_btnOK">
        <translation>OK(&amp;O)</translation>
    </message>
    <message id="VDLoginWindow_btnCancel">
        <translation>キャンセル(&amp;C)</translation>
    </message>
    <message id="VDProgressBarWindow_title">
        <translation>転送 – Velmora Disk</translation>
    </message>
    <message id="VDProgressBarWindow_progressBar">
        <translation>転送の進行状況</translation>
    </message>
    <message id="VDProgressBarWindow_0_title">
        <translation>アップロード – Velmora Disk</translation>
    </message>
    <message id="VDProgressBarWindow_0_progressBar">
        <translation>アップロードの進行状況</translation>
    </message>
    <message id="VDSSLChooser_title">
        <translation>クライアント証明書</translation>
    </message>
    <message id="VDSSLChooser_lblSelectCert">
        <translation>サーバーに提示する証明書を選択してください(&amp;H)。</translation>
    </message>
    <message id="VDSSLChooser_tableSelectCert_labl">
        <translation>証明書</translation>
    </message>
    <message id="VDSSLChooser_tableSelectCert_issr">
        <translation>発行者</translation>
    </message>
    <message id="VDSSLChooser_btnOK">
        <translation>OK(&amp;O)</translation>
    </message>
    <message id="VDSSLChooser_btnCancel">
        <translation>キャンセル(&amp;C)</translation>
    </message>
    <message id="VDSettingsWindow_title">
        <translation>接続 – Velmora Disk</translation>
    </message>
    <message id="VDSettingsWindow_lblConnectList">
        <translation>接続一覧(&amp;T)</translation>
    </message>
    <message id="VDSettingsWindow_TableConnectList_connectionName">
        <translation>名前</translation>
    </message>
    <message id="VDSettingsWindow_btnAdd">
        <translation>追加(&amp;A)</translation>
    </message>
    <message id="VDSettingsWindow_btnDelete">
        <translation>削除(&amp;D)</translation>
    </message>
    <message id="VDSettingsWindow_btnConnectTest">
        <translation>接続テスト(&amp;E)</translation>
    </message>
    <message id="VDSettingsWindow_btnSubmit">
        <translation>OK(&amp;O)</translation>
    </message>
    <message id="VDSettingsWindow_btnCancel">
        <translation>キャンセル(&amp;C)</translation>
    </message>
    <message id="VDSettingsWindow_btnStop">
        <translation>中止(&amp;S)</translation>
    </message>
    <message id="VDSettingsWindow_txtBusy_name">
        <translation>ログイン中</translation>
    </message>
    <message id="VDSettingsWindow_viewOptionTab_hidden">
        <translation>接続を選択するか、追加してください。

マウント中の接続は、マウントを解除すると変更できます。</translation>
    </message>
    <message id="VDSettingsWindow_tabConnection">
        <translation>サーバー(&amp;V)</translation>
    </message>
    <message id="VDSettingsWindow_lblConnectionName">
        <translation>接続名(&amp;N):</translation>
    </message>
    <message id="VDSettingsWindow_lblRemoteURL">
        <translation>URL(&amp;U):</translation>
    </message>
    <message id="VDSettingsWindow_txtRemoteURL_hint">
        <translation>https://dav.example.com/folder/</translation>
    </message>
    <message id="VDSettingsWindow_saveID">
        <translation>ユーザー名を保存(&amp;R):</translation>
    </message>
    <message id="VDSettingsWindow_txtUsername">
        <translation>ユーザー名</translation>
    </message>
    <message id="VDSettingsWindow_savePassword">
        <translation>パスワードを保存(&amp;P):</translation>
    </message>
    <message id="VDSettingsWindow_txtPassword">
        <translation>パスワード</translation>
    </message>
    <message id="VDSettingsWindow_isAutoMount">
        <translation>プログラムの起動時にマウントする(&amp;W)</translation>
    </message>
    <message id="VDSettingsWindow_tabVolume">
        <translation>ボリューム(&amp;M)</translation>
    </message>
    <message id="VDSettingsWindow_chengeMountPoint">
        <translation>マウントポイントを指定(&amp;P):</translation>
    </message>
    <message id="VDSettingsWindow_txtMountPoint">
        <translation>マウントポイント</translation>
    </message>
    <message id="VDSettingsWindow_lblDivideSize">
        <translation>分割アップロードのサイズ(&amp;I):</translation>
    </message>
    <message id="VDSettingsWindow_tabProxy">
        <translation>プロキシ(&amp;X)</translation>
    </message>
    <message id="VDSettingsWindow_isUseProxy">
        <translation>プロキシを使用(&amp;U):</translation>
    </message>
    <message id="VDSettingsWindow_selectConfProxy">
        <translation>プロキシの設定方法</translation>
    </message>
    <message id="VDSettingsWindow_selectConfProxy_0">
        <translation>システムの設定に従う</translation>
    </message>
    <message id="VDSettingsWindow_selectConfProxy_1">
        <translation>手動で設定する</translation>
    </message>
    <message id="VDSettingsWindow_lblProxyHost">
        <translation>ホスト(&amp;H):</translation>
    </message>
    <message id="VDSettingsWindow_lblProxyPort">
        <translation>ポート(&amp;P):</translation>
    </message>
    <message id="VDSettingsWindow_isProxyAuthentication">
        <translation>プロキシの認証を行う(&amp;L)</translation>
    </message>
    <message id="VDSettingsWindow_lblProxyUsername">
        <translation>ユーザー名(&amp;N):</translation>
    </message>
    <message id="VDSettingsWindow_lblProxyPassword">
        <translation>パスワード(&amp;W):</translation>
    </message>
    <message id="VDSettingsWindow_tabSecurity">
        <translation>セキュリティ(&amp;Y)</translation>
    </message>
    <message id="VDSettingsWindow_isUseCert">
        <translation>クライアント証明書を使用(&amp;U):</translation>
    </message>
    <message id="VDSettingsWindow_isAllowSelfsign">
        <translation>検証できないサーバー証明書を受け入れる(&amp;F)</translation>
    </message>
    <message id="AppDelegate_20">
        <translation>接続を削除しますか?</translation>
    </message>
    <message id="AppDelegate_21">
        <translation>キャンセル</translation>
    </message>
    <message id="AppDelegate_22">
        <translation>削除</translation>
    </message>
    <message id="AppDelegate_23">
        <translation>この接続と保存されたパスワードを設定から削除します。サーバー上のファイルはそのまま残ります。</translation>
    </message>
    <message id="AppDelegate_59">
        <translation>証明書を選択…</translation>
    </message>
    <message id="AppDelegate_60">
        <translation>別の証明書を選択…</translation>
    </message>
    <message id="LoginItems_0">
        <translation>“%1” を変更できませんでした: %2

このファイルはログイン時に Velmora Disk を起動するためのものです。ファイルとフォルダーの権限、および空き容量を確認してください。</translation>
    </message>
    <message id="Menu_AutoStart">
        <translation>ログイン時に起動</translation>
    </message>
    <message id="Menu_Connections">
        <translation>接続</translation>
    </message>
    <message id="Menu_Log">
        <translation>ログファイル…</translation>
    </message>
    <message id="Menu_NoConnections">
        <translation>接続がありません</translation>
    </message>
    <message id="Menu_Quit">
        <translation>終了</translation>
    </message>
    <message id="Menu_Settings">
        <translation>設定…</translation>
    </message>
    <message id="Menu_StopConnecting">
        <translation>「%1」への接続を中止</translation>
    </message>
    <message id="Settings_Busy">
        <translation>「%1」に接続しています…</translation>
    </message>
    <message id="Settings_ControlCharacter">
        <translation>「%1」の入力に改行などの見えない文字が含まれています。取り除いて入力し直してください。</translation>
    </message>
    <message id="Settings_Password">
        <translation>パスワード</translation>
    </message>
    <message id="Settings_ProxyHost">
        <translation>プロキシのホスト名またはアドレスだけを入力してください (例: proxy.example.com)。ポートとログイン情報にはそれぞれの欄があります。</translation>
    </message>
    <message id="Settings_ProxyPassword">
        <translation>プロキシのパスワード</translation>
    </message>
    <message id="Settings_ProxyPort">
        <translation>プロキシのポートは 1 から 65535 までの数字で入力してください。</translation>
    </message>
    <message id="Settings_TooLong">
        <translation>「%1」の入力が長すぎます。短くしてください。</translation>
    </message>
    <message id="Settings_Undivided">
        <translation>分割しない</translation>
    </message>
    <message id="Cli_PromptPassphrase">
        <translation>パスフレーズ: </translation>
    </message>
    <message id="Cli_ChooseCertificate">
        <translation>この接続はサーバーにクライアント証明書を提示します。使用できる証明書は次のとおりです。</translation>
    </message>
    <message id="Cli_CertificateRow">
        <translation>%1) %2 (発行者: %3)</translation>
    </message>
    <message id="Cli_PromptCertificate">
        <translation>証明書の番号 (空欄の場合は証明書なしで続行): </translation>
    </message>
    <message id="Cli_Unattended_ClientCertificate">
        <translation>クライアント証明書の選択が必要ですが、尋ねる端末がないため、証明書なしで続行します。</translation>
    </message>
    <message id="VDSSLCertificate_1">
        <translation>クライアント証明書が見つかりません。~/.local/share/velmoradisk/identities に証明書 (.p12、.pfx、.pem) を置くか、トークンを接続してください。</translation>
    </message>
    <message id="VDSSLCertificate_2">
        <translation>「%1」のパスフレーズまたは PIN</translation>
    </message>
    <message id="VDSSLCertificate_3">
        <translation>「%1」のパスフレーズまたは PIN が正しくありません。もう一度入力してください。</translation>
    </message>
    <message id="VDSSLCertificate_4">
        <translation>このクライアント証明書は使用できません。ファイルやトークンがないか、トークンがロックされている可能性があります。</translation>
    </message>
    <message id="Settings_UrlLogin">
        <translation>URL にログイン情報を含めないでください。他人に見られるおそれがあります。ユーザー名とパスワードはそれぞれの欄に入力してください。</translation>
    </message>
    <message id="VDSettingsWindow_btnMenu">
        <translation>Velmora Disk(&amp;K)</translation>
    </message>
    <message id="Desktop_Help">
        <translation>velmoradisk-desktop [--background] [velmoradisk://go/接続名]

ウィンドウ版の Velmora Disk です。パネルのアイコンと接続の設定ウィンドウを表示します。もう一度起動すると、実行中のプログラムのウィンドウを表示します。

  --background  ウィンドウを表示せずに起動する
  --help        このヘルプを表示する
  --version     バージョンを表示する</translation>
    </message>
    <message id="Desktop_UnknownArgument">
        <translation>「%1」は使えません。velmoradisk-desktop --help を参照してください。</translation>
    </message>
    <message id="Desktop_NoDisplay">
        <translation>ウィンドウを表示する画面がありません。代わりにコマンド velmoradisk を使ってください。</translation>
    </message>
    <message id="Desktop_Quitting">
        <translation>Velmora Disk を終了しています。保存したファイルがすべてサーバーに送られるまで待っています。

このメッセージが消えるまで、電源とネットワーク接続を切らないでください。</translation>
    </message>
    <message id="Desktop_TakeOver">
        <translation>コマンド velmoradisk によってボリュームがマウントされています: %1

マウントを解除すると、Velmora Disk を起動できます。</translation>
    </message>
    <message id="Desktop_TakeOver_Yes">
        <translation>マウントを解除して起動</translation>
    </message>
    <message id="Settings_Unsaved">
        <translation>設定に表示されている接続には、保存されていない変更があります。</translation>
    </message>
    <message id="Settings_KeepEditing">
        <translation>編集を続ける</translation>
    </message>
    <message id="Settings_Drop">
        <translation>変更を破棄</translation>
    </message>
</context>
</TS>
