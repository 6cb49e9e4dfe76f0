<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="en_US">
<context>
    <name></name>
    <message id="AppDelegate_1">
        <translation>The mount point must begin with “/”.

Enter the full path of a folder, for example /Volumes/Office.</translation>
    </message>
    <message id="AppDelegate_2">
        <translation>The mount point must lie at least two levels deep.

A folder directly below “/” cannot be used. Enter a path such as /Volumes/Office.</translation>
    </message>
    <message id="AppDelegate_3">
        <translation>The mount point is a file, not a folder.

Choose another path, or move that file away.</translation>
    </message>
    <message id="AppDelegate_4">
        <translation>The folder that is to hold the mount point does not exist.

Create that folder first, or choose a mount point in an existing one. The last folder of the path itself is made for you.</translation>
    </message>
    <message id="AppDelegate_5">
        <translation>No mount point is given.

Enter the path of a folder, or use the default mount point.</translation>
    </message>
    <message id="AppDelegate_6">
        <translation>The server could not be reached.

Check the URL, the network connection and the proxy settings, then try again.</translation>
    </message>
    <message id="AppDelegate_7">
        <translation>The server does not offer WebDAV at this address.

Check the URL; its path may have to name the WebDAV folder.</translation>
    </message>
    <message id="AppDelegate_8">
        <translation>The server reported an error of its own or is too busy.

Try again later. If it persists, ask the server's administrator.</translation>
    </message>
    <message id="AppDelegate_9">
        <translation>The server refused the request.

Check the URL, and that your account may use this folder.</translation>
    </message>
    <message id="AppDelegate_10">
        <translation>The server gave an unexpected answer.

Check the URL. The log holds the server's status line.</translation>
    </message>
    <message id="AppDelegate_11">
        <translation>The URL does not lead to a folder that can be opened on the server.

Check the path of the URL and your rights to that folder.</translation>
    </message>
    <message id="AppDelegate_12">
        <translation>The server reported an error of its own while the folder was being opened.

Try again later. If it persists, ask the server's administrator.</translation>
    </message>
    <message id="AppDelegate_13">
        <translation>The folder of the URL could not be read completely.

Try again. The log tells what the server answered.</translation>
    </message>
    <message id="AppDelegate_51">
        <translation>There is no connection of that name.

Choose one of the saved connections, or add it first.</translation>
    </message>
    <message id="AppDelegate_52">
        <translation>A connection is mounted at present.

A mounted connection cannot be changed; unmount it first.</translation>
    </message>
    <message id="AppDelegate_66">
        <translation>Choose a log file</translation>
    </message>
    <message id="AppDelegate_67">
        <translation>This address or place cannot be used.

A server's URL must begin with “http:” or “https:”. A log file must lie in a folder where you may write.</translation>
    </message>
    <message id="AppDelegate_68">
        <translation>The connection “%1” could not be mounted at start.

It will no longer be mounted automatically. Turn that on again in its settings once it works.</translation>
    </message>
    <message id="Common_Button_Cancel">
        <translation>Cancel</translation>
    </message>
    <message id="Common_Button_NO">
        <translation>No</translation>
    </message>
    <message id="Common_Button_OK">
        <translation>OK</translation>
    </message>
    <message id="Common_Button_YES">
        <translation>Yes</translation>
    </message>
    <message id="Common_Confirm_Title">
        <translation>Please Note</translation>
    </message>
    <message id="Common_Delivery">
        <translation>Delivery</translation>
    </message>
    <message id="Common_Error_Title">
        <translation>Error</translation>
    </message>
    <message id="Common_Title">
        <translation>Velmora Disk</translation>
    </message>
    <message id="Common_WebPublic_Confirm_Title">
        <translation>Confirm Web Publication</translation>
    </message>
    <message id="Common_WebPublic_Error_Title">
        <translation>Web Publication Error</translation>
    </message>
    <message id="Common_WebPublic_Title">
        <translation>Web Publication</translation>
    </message>
    <message id="KQSelfServerCertificateWindowController_0">
        <translation>The certificate of the server “%1” could not be verified. Connect all the same?</translation>
    </message>
    <message id="KQSelfServerCertificateWindowController_1">
        <translation>The certificate may be self-signed, out of date or made for another host, and someone may be reading along. Answer “Yes” only if you know this server. The answer holds for this session.</translation>
    </message>
    <message id="Preferences_0">
        <translation>The settings file was damaged and has been set aside as “%1”.

The program goes on without settings. Repair that file and put it back at “%2”, or enter the connections again.</translation>
    </message>
    <message id="Preferences_1">
        <translation>The settings file “%1” could not be read: %2

Make it readable for you; until then no settings are loaded or saved.</translation>
    </message>
    <message id="Preferences_2">
        <translation>The settings could not be saved to “%1”: %2

Check your rights to the file and its folder, and the free space.</translation>
    </message>
    <message id="ProgressBar_1">
        <translation>starting</translation>
    </message>
    <message id="ProgressBar_2">
        <translation>uploaded</translation>
    </message>
    <message id="VDLockController_0">
        <translation>The lock on “%1%2” (connection “%3”) could not be renewed: the item is locked on the server.

Someone else may change it now. Save a copy under another name, or close the file and open it again.</translation>
    </message>
    <message id="VDLockController_1">
        <translation>The lock on “%1%2” (connection “%3”) was lost: someone else has locked the item.

Save your changes under another name.</translation>
    </message>
    <message id="VDLockController_2">
        <translation>The lock on “%1%2” (connection “%3”) could not be renewed: the server no longer allows it.

Check your rights to the item; save your changes under another name if need be.</translation>
    </message>
    <message id="VDLockController_3">
        <translation>The lock on “%1%2” (connection “%3”) could not be renewed: the server could not be reached.

Check the network connection, then close the file and open it again.</translation>
    </message>
    <message id="VDLockController_4">
        <translation>The lock on “%1%2” (connection “%3”) could not be renewed: the server gave an unexpected answer.

Save a copy under another name, or close the file and open it again.</translation>
    </message>
    <message id="VDWebDAVConnect_0">
        <translation>Log In to the Proxy</translation>
    </message>
    <message id="VelmoraDisk_0">
        <translation>“%1” could not be saved: the server no longer accepts your login.

Unmount the disk, mount it again with the right name and password, and save once more.</translation>
    </message>
    <message id="VelmoraDisk_1">
        <translation>The file could not be saved: the server does not accept files of this kind (%1).

Save it under a name with another extension.</translation>
    </message>
    <message id="VelmoraDisk_2">
        <translation>“%1” could not be saved: the server of “%2” reported an error of its own or is too busy.

Try again later. If it persists, ask the server's administrator.</translation>
    </message>
    <message id="VelmoraDisk_3">
        <translation>“%1” could not be saved: the server does not accept content of this type.

Save it in another format, or ask the server's administrator.</translation>
    </message>
    <message id="VelmoraDisk_4">
        <translation>“%1” could not be saved: it is locked by someone else on the server of “%2”.

Wait until it is released, or save under another name.</translation>
    </message>
    <message id="VelmoraDisk_5">
        <translation>“%1” could not be saved: the server of “%2” could not be reached.

Check the network connection and save once more.</translation>
    </message>
    <message id="VelmoraDisk_6">
        <translation>“%1” could not be saved: there is no space left on the server.

Delete what is not needed there, or ask for a larger quota.</translation>
    </message>
    <message id="VelmoraDisk_7">
        <translation>“%1” could not be saved: the server of “%2” gave an unexpected answer.

The log holds the server's status line. Try again, or save under another name.</translation>
    </message>
    <message id="VelmoraDisk_8">
        <translation>“%1” could not be saved on the server. Your version was kept as “%2”.

Copy it back to the disk when the cause is removed.</translation>
    </message>
    <message id="VelmoraDisk_9">
        <translation>The file could not be saved: the server refuses it.

Save it under another name or in another folder.</translation>
    </message>
    <message id="VelmoraDisk_10">
        <translation>“%1” could not be saved: it is larger than the server accepts.

Split or compress it, or ask the server's administrator.</translation>
    </message>
    <message id="GMUserFileSystem_NotAbsolute">
        <translation>The mount point “%1” is not a full path.

Give the full path of a folder, for example /Volumes/Office.</translation>
    </message>
    <message id="GMUserFileSystem_ParentMissing">
        <translation>The mount point “%1” cannot be made: the folder “%2” does not exist.

Make that folder first, or choose another mount point.</translation>
    </message>
    <message id="GMUserFileSystem_CannotMakeFolder">
        <translation>The mount point “%1” cannot be made: %2.

Make the folder yourself, or choose a mount point in a folder you may write to.</translation>
    </message>
    <message id="GMUserFileSystem_NotFolder">
        <translation>The mount point “%1” is not a folder.

Choose another mount point, or move that file away.</translation>
    </message>
    <message id="GMUserFileSystem_NotEmpty">
        <translation>The mount point “%1” is not empty.

Choose an empty folder, or one that does not exist yet.</translation>
    </message>
    <message id="GMUserFileSystem_AlreadyMounted">
        <translation>Something is mounted at “%1” already.

Unmount it first, or choose another mount point.</translation>
    </message>
    <message id="GMUserFileSystem_DeadMount">
        <translation>A mount at “%1” no longer answers and cannot be removed.

Run “fusermount3 -u -z” on that folder as the user who mounted it, or choose another mount point.</translation>
    </message>
    <message id="GMUserFileSystem_Unusable">
        <translation>The mount point “%1” cannot be used: %2.

Choose another mount point.</translation>
    </message>
    <message id="GMUserFileSystem_DeviceForbidden">
        <translation>“%1” cannot be mounted: you have no right to use %2.

Ask your administrator for read and write access to %2.</translation>
    </message>
    <message id="GMUserFileSystem_DeviceMissing">
        <translation>“%1” cannot be mounted: this system has no %2.

Load the kernel's fuse module (“modprobe fuse”).</translation>
    </message>
    <message id="GMUserFileSystem_HelperMissing">
        <translation>“%1” cannot be mounted: the program fusermount3 is missing.

Install the package fuse3.</translation>
    </message>
    <message id="GMUserFileSystem_Refused">
        <translation>The system refused to mount “%1”: %2.

Check that you own the folder and may mount volumes.</translation>
    </message>
    <message id="GMUserFileSystem_Cancelled">
        <translation>Mounting “%1” was cancelled.</translation>
    </message>
    <message id="GMUserFileSystem_NoAnswer">
        <translation>“%1” could not be mounted: the system and the volume do not understand each other.

Try again. The log holds the reason.</translation>
    </message>
    <message id="GMUserFileSystem_UnknownOption">
        <translation>The mount option “%1” is unknown and has no effect.</translation>
    </message>
    <message id="GMUserFileSystem_UnfitName">
        <translation>“%1” holds an item whose name cannot be shown on this system and is left out: “%2”. Rename it on the server to see it.</translation>
    </message>
    <message id="AppDelegate_53">
        <translation>The connection works: the server was reached and the login accepted.</translation>
    </message>
    <message id="AppDelegate_54">
        <translation>There is a connection of that name already. Choose another name.</translation>
    </message>
    <message id="AppDelegate_55">
        <translation>The mount point is that of another connection, or one lies inside the other. Choose another mount point.</translation>
    </message>
    <message id="AppDelegate_56">
        <translation>Give the connection a name; “new connection” cannot be one.</translation>
    </message>
    <message id="AppDelegate_57">
        <translation>A connection's name cannot hold “/” or control characters, and cannot be “.” or “..”. Choose another name.</translation>
    </message>
    <message id="AppDelegate_61">
        <translation>The connection is mounted. Unmount it first.</translation>
    </message>
    <message id="Cli_ArgumentMissing">
        <translation>An argument is missing: %1</translation>
    </message>
    <message id="Cli_AutoAlone">
        <translation>--auto mounts the connections that are marked for it and takes no name. Name a connection without --auto.</translation>
    </message>
    <message id="Cli_BadValue">
        <translation>The value of --%1 cannot be used. It must be %2.</translation>
    </message>
    <message id="Cli_Cancelled">
        <translation>Cancelled.</translation>
    </message>
    <message id="Cli_CommandIncomplete">
        <translation>“%1” needs one of these words after it: %2</translation>
    </message>
    <message id="Cli_Command_Add">
        <translation>saves a connection</translation>
    </message>
    <message id="Cli_Command_Edit">
        <translation>changes a saved connection</translation>
    </message>
    <message id="Cli_Command_List">
        <translation>lists the saved connections</translation>
    </message>
    <message id="Cli_Command_Log">
        <translation>shows where the log is and what it ends with</translation>
    </message>
    <message id="Cli_Command_Mount">
        <translation>mounts a saved connection or a URL</translation>
    </message>
    <message id="Cli_Command_Remove">
        <translation>removes a saved connection</translation>
    </message>
    <message id="Cli_Command_Show">
        <translation>shows a saved connection; passwords are never shown</translation>
    </message>
    <message id="Cli_Command_Status">
        <translation>shows what is mounted</translation>
    </message>
    <message id="Cli_Command_Test">
        <translation>logs in to a saved connection's server without mounting</translation>
    </message>
    <message id="Cli_Command_Unmount">
        <translation>ends a mount</translation>
    </message>
    <message id="Cli_Expected_Number">
        <translation>a whole number from 0 up</translation>
    </message>
    <message id="Cli_Expected_Proxy">
        <translation>none, system, or HOST:PORT with a port from 1 to 65535</translation>
    </message>
    <message id="Cli_Expected_YesNo">
        <translation>yes or no</translation>
    </message>
    <message id="Cli_Field_AutoMount">
        <translation>Mounted at start</translation>
    </message>
    <message id="Cli_Field_Certificate">
        <translation>Client certificate</translation>
    </message>
    <message id="Cli_Field_DivideSize">
        <translation>Upload part size (index)</translation>
    </message>
    <message id="Cli_Field_MountPoint">
        <translation>Mount point</translation>
    </message>
    <message id="Cli_Field_Mounted">
        <translation>Mounted</translation>
    </message>
    <message id="Cli_Field_Name">
        <translation>Name</translation>
    </message>
    <message id="Cli_Field_OwnMountPoint">
        <translation>Mount point of its own</translation>
    </message>
    <message id="Cli_Field_ProxyHost">
        <translation>Proxy host</translation>
    </message>
    <message id="Cli_Field_ProxyLogin">
        <translation>Proxy login</translation>
    </message>
    <message id="Cli_Field_ProxyPassword">
        <translation>Proxy password saved</translation>
    </message>
    <message id="Cli_Field_ProxyPort">
        <translation>Proxy port</translation>
    </message>
    <message id="Cli_Field_ProxyUser">
        <translation>Proxy user</translation>
    </message>
    <message id="Cli_Field_SavePassword">
        <translation>Password saved</translation>
    </message>
    <message id="Cli_Field_SaveUser">
        <translation>User saved</translation>
    </message>
    <message id="Cli_Field_SelfSigned">
        <translation>Unverified certificate accepted</translation>
    </message>
    <message id="Cli_Field_SystemProxy">
        <translation>System's proxy</translation>
    </message>
    <message id="Cli_Field_Url">
        <translation>URL</translation>
    </message>
    <message id="Cli_Field_UseProxy">
        <translation>Proxy used</translation>
    </message>
    <message id="Cli_Field_User">
        <translation>User</translation>
    </message>
    <message id="Cli_HelpHead">
        <translation>Velmora Disk mounts a folder of a WebDAV server as a disk.

velmoradisk COMMAND [OPTION...]
</translation>
    </message>
    <message id="Cli_HelpFoot">
        <translation>
“velmoradisk COMMAND --help” tells a command's options, “man velmoradisk” everything.
--help, --version</translation>
    </message>
    <message id="Cli_InUse">
        <translation>“%1” is in use by a program and stays mounted. --force detaches it all the same.</translation>
    </message>
    <message id="Cli_LogEmpty">
        <translation>Nothing has been logged yet.</translation>
    </message>
    <message id="Cli_LoginRefused">
        <translation>The server refused the login that was given. Check the user name and the password.</translation>
    </message>
    <message id="Cli_LoginTitle">
        <translation>The server asks for a login.</translation>
    </message>
    <message id="Cli_MarkedAreMounted">
        <translation>Every connection that is marked to be mounted is mounted already.</translation>
    </message>
    <message id="Cli_MountFailed">
        <translation>“%1” could not be mounted. “velmoradisk log” may tell why.</translation>
    </message>
    <message id="Cli_MountPointTaken">
        <translation>“%1” is the mount point of “%2”, or lies inside it. Choose another with --mount-point.</translation>
    </message>
    <message id="Cli_Mounted">
        <translation>“%1” is mounted at %2</translation>
    </message>
    <message id="Cli_MountedAlready">
        <translation>“%1” is mounted already, at %2</translation>
    </message>
    <message id="Cli_MountedNoEdit">
        <translation>“%1” is mounted and cannot be changed now. Unmount it first.</translation>
    </message>
    <message id="Cli_NameNeedsUrl">
        <translation>--name names the volume of a URL. A saved connection has a name already.</translation>
    </message>
    <message id="Cli_NameTaken">
        <translation>“%1” is the name of a saved connection. Choose another with --name.</translation>
    </message>
    <message id="Cli_NameTooLong">
        <translation>The name is too long: it may have 255 bytes.</translation>
    </message>
    <message id="Cli_No">
        <translation>no</translation>
    </message>
    <message id="Cli_NoCommand">
        <translation>No command is given.</translation>
    </message>
    <message id="Cli_NoConnection">
        <translation>There is no connection “%1”. “velmoradisk connection list” shows those that are saved.</translation>
    </message>
    <message id="Cli_NoLog">
        <translation>The log cannot be read: %1</translation>
    </message>
    <message id="Cli_NoPasswordInput">
        <translation>--%1: standard input holds no password.</translation>
    </message>
    <message id="Cli_NoTerminalForPassword">
        <translation>There is no terminal to ask for the password on. Give it with --%1.</translation>
    </message>
    <message id="Cli_NoVolumes">
        <translation>The folder “%1” is missing. scripts/setup makes it; or choose a place of your own with --mount-point.</translation>
    </message>
    <message id="Cli_NoneMarked">
        <translation>No connection is marked to be mounted. “velmoradisk connection edit NAME --auto-mount yes” marks one.</translation>
    </message>
    <message id="Cli_NotMounted">
        <translation>“%1” is not mounted. “velmoradisk status” shows what is.</translation>
    </message>
    <message id="Cli_NotSet">
        <translation>not set</translation>
    </message>
    <message id="Cli_NothingToEdit">
        <translation>Nothing is given that is to be changed. Give at least one option.</translation>
    </message>
    <message id="Cli_Option_AcceptCertificate">
        <translation>accepts a certificate that cannot be verified, for this session</translation>
    </message>
    <message id="Cli_Option_Auto">
        <translation>mounts the connections that are marked with --auto-mount</translation>
    </message>
    <message id="Cli_Option_AutoMount">
        <translation>mounted when the program starts</translation>
    </message>
    <message id="Cli_Option_Certificate">
        <translation>a client certificate is used</translation>
    </message>
    <message id="Cli_Option_DefaultMountPoint">
        <translation>mounted at /Volumes/NAME</translation>
    </message>
    <message id="Cli_Option_DivideSize">
        <translation>number of the upload part size; mounts never divide uploads</translation>
    </message>
    <message id="Cli_Option_Follow">
        <translation>goes on and shows lines as they come</translation>
    </message>
    <message id="Cli_Option_Force">
        <translation>detaches a volume that is in use</translation>
    </message>
    <message id="Cli_Option_Foreground">
        <translation>stays until the mount ends; Ctrl-C ends it</translation>
    </message>
    <message id="Cli_Option_Json">
        <translation>for scripts</translation>
    </message>
    <message id="Cli_Option_Lines">
        <translation>how many lines; 20 if not given</translation>
    </message>
    <message id="Cli_Option_MountPoint">
        <translation>where it is mounted; may hold ${user} and ${mac_user}</translation>
    </message>
    <message id="Cli_Option_MountPointOnce">
        <translation>where to mount it this time</translation>
    </message>
    <message id="Cli_Option_Name">
        <translation>the volume's name, for a URL</translation>
    </message>
    <message id="Cli_Option_NoProxyUser">
        <translation>the proxy needs no login</translation>
    </message>
    <message id="Cli_Option_NoSavePassword">
        <translation>forgets the password</translation>
    </message>
    <message id="Cli_Option_NoSaveUser">
        <translation>forgets the user name</translation>
    </message>
    <message id="Cli_Option_PasswordStdin">
        <translation>saves the password that standard input's first line holds</translation>
    </message>
    <message id="Cli_Option_PasswordStdinOnce">
        <translation>the password is standard input's first line</translation>
    </message>
    <message id="Cli_Option_Path">
        <translation>shows the path alone</translation>
    </message>
    <message id="Cli_Option_Proxy">
        <translation>no proxy, the system's, or this one</translation>
    </message>
    <message id="Cli_Option_ProxyPassword">
        <translation>asks for the proxy's password and saves it</translation>
    </message>
    <message id="Cli_Option_ProxyPasswordStdin">
        <translation>saves the proxy's password: the next line of standard input</translation>
    </message>
    <message id="Cli_Option_ProxyUser">
        <translation>the proxy's login</translation>
    </message>
    <message id="Cli_Option_Rename">
        <translation>the new name</translation>
    </message>
    <message id="Cli_Option_SavePassword">
        <translation>asks for the password and saves it</translation>
    </message>
    <message id="Cli_Option_SaveUser">
        <translation>saves the user name, as --user does</translation>
    </message>
    <message id="Cli_Option_SelfSigned">
        <translation>a certificate that cannot be verified is accepted</translation>
    </message>
    <message id="Cli_Option_Url">
        <translation>the folder on the server, http:// or https://</translation>
    </message>
    <message id="Cli_Option_User">
        <translation>the login on the server; it is saved</translation>
    </message>
    <message id="Cli_Option_UserOnce">
        <translation>the login to use this time</translation>
    </message>
    <message id="Cli_PasswordsDiffer">
        <translation>The two passwords differ; nothing is saved.</translation>
    </message>
    <message id="Cli_PromptAgain">
        <translation>Again: </translation>
    </message>
    <message id="Cli_PromptPassword">
        <translation>Password: </translation>
    </message>
    <message id="Cli_PromptProxyPassword">
        <translation>Proxy password: </translation>
    </message>
    <message id="Cli_PromptUser">
        <translation>User: </translation>
    </message>
    <message id="Cli_PromptUserOr">
        <translation>User [%1]: </translation>
    </message>
    <message id="Cli_ServiceEnded">
        <translation>The background process ended before it answered. “velmoradisk log” may tell why.</translation>
    </message>
    <message id="Cli_ServiceFailed">
        <translation>The background process could not be started: %1</translation>
    </message>
    <message id="Cli_ServiceFolder">
        <translation>%1: %2</translation>
    </message>
    <message id="Cli_ServiceStopping">
        <translation>The background process is ending. Try again when it has.</translation>
    </message>
    <message id="Cli_SettingsBusy">
        <translation>Another command is changing the saved connections. Try again when it has ended.</translation>
    </message>
    <message id="Cli_Status_Dead">
        <translation>It crashed. Nothing is lost: what had not been sent is kept, and the next mount or unmount saves it in your home. Mount it again, or “velmoradisk unmount %1” clears it.</translation>
    </message>
    <message id="Cli_Status_Message">
        <translation>Message (%1): %2</translation>
    </message>
    <message id="Cli_Status_MountPoint">
        <translation>Mount point</translation>
    </message>
    <message id="Cli_Status_Mounting">
        <translation>mounting</translation>
    </message>
    <message id="Cli_Status_NoAnswer">
        <translation>not known; the server does not tell</translation>
    </message>
    <message id="Cli_Status_Nothing">
        <translation>Nothing is mounted.</translation>
    </message>
    <message id="Cli_Status_Server">
        <translation>Server</translation>
    </message>
    <message id="Cli_Status_Since">
        <translation>Since</translation>
    </message>
    <message id="Cli_Status_Sizes">
        <translation>%1 used, %2 free of %3</translation>
    </message>
    <message id="Cli_Status_Space">
        <translation>Space</translation>
    </message>
    <message id="Cli_Status_User">
        <translation>User</translation>
    </message>
    <message id="Cli_Status_Unmounting">
        <translation>It is being unmounted.</translation>
    </message>
    <message id="Cli_Status_UnmountingSends">
        <translation>It is being unmounted, but still sending what was written to it.</translation>
    </message>
    <message id="Cli_Status_Unreachable">
        <translation>The server cannot be reached.</translation>
    </message>
    <message id="Cli_Status_Uploading">
        <translation>Uploading</translation>
    </message>
    <message id="Cli_StillUnmounting">
        <translation>“%1” is still being unmounted: it is sending what was written to it, which “velmoradisk status” shows. Mount it again afterwards.</translation>
    </message>
    <message id="Cli_Stopping">
        <translation>The program is ending.</translation>
    </message>
    <message id="Cli_TargetMissing">
        <translation>Name a saved connection or a URL.</translation>
    </message>
    <message id="Cli_TooManyArguments">
        <translation>There are too many arguments: it is %1</translation>
    </message>
    <message id="Cli_TryHelp">
        <translation>See “%1 --help”.</translation>
    </message>
    <message id="Cli_Unattended_Certificate">
        <translation>There is no terminal to ask on, so it is refused. --accept-certificate accepts it for this session.</translation>
    </message>
    <message id="Cli_Unattended_Login">
        <translation>The server asks for a login, and there is no terminal to ask on. Give --user and --password-stdin.</translation>
    </message>
    <message id="Cli_Unattended_ProxyLogin">
        <translation>The proxy asks for a login, or refuses the one saved, and there is no terminal to ask on. Save one by “velmoradisk connection edit” with --proxy-user and --proxy-password-stdin.</translation>
    </message>
    <message id="Cli_UnknownCommand">
        <translation>There is no command “%1”.</translation>
    </message>
    <message id="Cli_UnknownOption">
        <translation>There is no option “%1” here.</translation>
    </message>
    <message id="Cli_UnknownRequest">
        <translation>The background process does not know this request. It may be of another version: unmount everything and try again.</translation>
    </message>
    <message id="Cli_Unmounting">
        <translation>Waiting until everything that was written to “%1” is on the server.</translation>
    </message>
    <message id="Cli_Uploaded">
        <translation>(%1 of %2 uploaded)</translation>
    </message>
    <message id="Cli_UrlMissing">
        <translation>--url is missing.</translation>
    </message>
    <message id="Cli_Url_Fragment">
        <translation>The URL must name a folder only, without “#” and what follows it. A “#” in a folder's name is written %23.</translation>
    </message>
    <message id="Cli_Url_Host">
        <translation>The URL names no host that can be used. It must be http://HOST/FOLDER/ or http://HOST:PORT/FOLDER/, an IPv6 address in brackets.</translation>
    </message>
    <message id="Cli_Url_Invalid">
        <translation>The URL cannot be used: it holds a character of code 0. Leave out the “%00”.</translation>
    </message>
    <message id="Cli_Url_Login">
        <translation>A login does not belong into a URL, where others can see it. Use --user and --password-stdin.</translation>
    </message>
    <message id="Cli_Url_Port">
        <translation>The port of the URL cannot be used. It must be a number from 1 to 65535.</translation>
    </message>
    <message id="Cli_Url_Query">
        <translation>The URL must name a folder only, without “?” and what follows it.</translation>
    </message>
    <message id="Cli_Url_QuestionMark">
        <translation>A folder whose name holds “?” cannot be the top of a mount. Mount the folder above it.</translation>
    </message>
    <message id="Cli_Url_Scheme">
        <translation>The URL must begin with http:// or https://, as in https://dav.example.com/files/.</translation>
    </message>
    <message id="Cli_ValueMissing">
        <translation>The value of %1 is missing.</translation>
    </message>
    <message id="Cli_ValueTooMany">
        <translation>%1 takes no value.</translation>
    </message>
    <message id="Cli_Yes">
        <translation>yes</translation>
    </message>
    <message id="VDLoginWindow_title">
        <translation>Login</translation>
    </message>
    <message id="VDLoginWindow_lblQuestion">
        <translation>Enter your user name and password.</translation>
    </message>
    <message id="VDLoginWindow_server">
        <translation>Enter your user name and password for “%1”.</translation>
    </message>
    <message id="VDLoginWindow_lblUsername">
        <translation>&amp;User name:</translation>
    </message>
    <message id="VDLoginWindow_lblPassword">
        <translation>&amp;Password:</translation>
    </message>
    <message id="VDLoginWindow_btnOK">
        <translation>&amp;OK</translation>
    </message>
    <message id="VDLoginWindow_btnCancel">
        <translation>&amp;Cancel</translation>
    </message>
    <message id="VDProgressBarWindow_title">
        <translation>Transfer – Velmora Disk</translation>
    </message>
    <message id="VDProgressBarWindow_progressBar">
        <translation>Progress of the transfer</translation>
    </message>
    <message id="VDProgressBarWindow_0_title">
        <translation>Upload – Velmora Disk</translation>
    </message>
    <message id="VDProgressBarWindow_0_progressBar">
        <translation>Progress of the upload</translation>
    </message>
    <message id="VDSSLChooser_title">
        <translation>Client Certificate</translation>
    </message>
    <message id="VDSSLChooser_lblSelectCert">
        <translation>C&amp;hoose the certificate that identifies you to the server.</translation>
    </message>
    <message id="VDSSLChooser_tableSelectCert_labl">
        <translation>Certificate</translation>
    </message>
    <message id="VDSSLChooser_tableSelectCert_issr">
        <translation>Issuer</translation>
    </message>
    <message id="VDSSLChooser_btnOK">
        <translation>&amp;OK</translation>
    </message>
    <message id="VDSSLChooser_btnCancel">
        <translation>&amp;Cancel</translation>
    </message>
    <message id="VDSettingsWindow_title">
        <translation>Connections – Velmora Disk</translation>
    </message>
    <message id="VDSettingsWindow_lblConnectList">
        <translation>Connec&amp;tions</translation>
    </message>
    <message id="VDSettingsWindow_TableConnectList_connectionName">
        <translation>Name</translation>
    </message>
    <message id="VDSettingsWindow_btnAdd">
        <translation>&amp;Add</translation>
    </message>
    <message id="VDSettingsWindow_btnDelete">
        <translation>&amp;Delete</translation>
    </message>
    <message id="VDSettingsWindow_btnConnectTest">
        <translation>T&amp;est Login</translation>
    </message>
    <message id="VDSettingsWindow_btnSubmit">
        <translation>&amp;OK</translation>
    </message>
    <message id="VDSettingsWindow_btnCancel">
        <translation>&amp;Cancel</translation>
    </message>
    <message id="VDSettingsWindow_btnStop">
        <translation>&amp;Stop</translation>
    </message>
    <message id="VDSettingsWindow_txtBusy_name">
        <translation>Login in progress</translation>
    </message>
    <message id="VDSettingsWindow_viewOptionTab_hidden">
        <translation>Select a connection, or add one.

A connection that is mounted can be changed once it is unmounted.</translation>
    </message>
    <message id="VDSettingsWindow_tabConnection">
        <translation>Ser&amp;ver</translation>
    </message>
    <message id="VDSettingsWindow_lblConnectionName">
        <translation>&amp;Name:</translation>
    </message>
    <message id="VDSettingsWindow_lblRemoteURL">
        <translation>&amp;URL:</translation>
    </message>
    <message id="VDSettingsWindow_txtRemoteURL_hint">
        <translation>https://dav.example.com/folder/</translation>
    </message>
    <message id="VDSettingsWindow_saveID">
        <translation>Save the use&amp;r name:</translation>
    </message>
    <message id="VDSettingsWindow_txtUsername">
        <translation>User name</translation>
    </message>
    <message id="VDSettingsWindow_savePassword">
        <translation>Save the &amp;password:</translation>
    </message>
    <message id="VDSettingsWindow_txtPassword">
        <translation>Password</translation>
    </message>
    <message id="VDSettingsWindow_isAutoMount">
        <translation>Mount &amp;when the program starts</translation>
    </message>
    <message id="VDSettingsWindow_tabVolume">
        <translation>Volu&amp;me</translation>
    </message>
    <message id="VDSettingsWindow_chengeMountPoint">
        <translation>Choose the mount &amp;point:</translation>
    </message>
    <message id="VDSettingsWindow_txtMountPoint">
        <translation>Mount point</translation>
    </message>
    <message id="VDSettingsWindow_lblDivideSize">
        <translation>Upload &amp;in parts of:</translation>
    </message>
    <message id="VDSettingsWindow_tabProxy">
        <translation>Pro&amp;xy</translation>
    </message>
    <message id="VDSettingsWindow_isUseProxy">
        <translation>&amp;Use a proxy:</translation>
    </message>
    <message id="VDSettingsWindow_selectConfProxy">
        <translation>Proxy settings</translation>
    </message>
    <message id="VDSettingsWindow_selectConfProxy_0">
        <translation>As the system is set</translation>
    </message>
    <message id="VDSettingsWindow_selectConfProxy_1">
        <translation>As entered here</translation>
    </message>
    <message id="VDSettingsWindow_lblProxyHost">
        <translation>&amp;Host:</translation>
    </message>
    <message id="VDSettingsWindow_lblProxyPort">
        <translation>&amp;Port:</translation>
    </message>
    <message id="VDSettingsWindow_isProxyAuthentication">
        <translation>The proxy wants a &amp;login</translation>
    </message>
    <message id="VDSettingsWindow_lblProxyUsername">
        <translation>User &amp;name:</translation>
    </message>
    <message id="VDSettingsWindow_lblProxyPassword">
        <translation>Pass&amp;word:</translation>
    </message>
    <message id="VDSettingsWindow_tabSecurity">
        <translation>Securit&amp;y</translation>
    </message>
    <message id="VDSettingsWindow_isUseCert">
        <translation>&amp;Use a client certificate:</translation>
    </message>
    <message id="VDSettingsWindow_isAllowSelfsign">
        <translation>Accept a server certi&amp;ficate that cannot be verified</translation>
    </message>
    <message id="AppDelegate_20">
        <translation>Delete the connection?</translation>
    </message>
    <message id="AppDelegate_21">
        <translation>Cancel</translation>
    </message>
    <message id="AppDelegate_22">
        <translation>Delete</translation>
    </message>
    <message id="AppDelegate_23">
        <translation>The connection and its saved password are removed from the settings. Files on the server stay as they are.</translation>
    </message>
    <message id="AppDelegate_59">
        <translation>Choose a certificate…</translation>
    </message>
    <message id="AppDelegate_60">
        <translation>Choose another certificate…</translation>
    </message>
    <message id="LoginItems_0">
        <translation>“%1” could not be changed: %2

It is what starts Velmora Disk when you log in. Check your rights to the file and its folder, and the free space.</translation>
    </message>
    <message id="Menu_AutoStart">
        <translation>Start at Login</translation>
    </message>
    <message id="Menu_Connections">
        <translation>Connections</translation>
    </message>
    <message id="Menu_Log">
        <translation>Log File…</translation>
    </message>
    <message id="Menu_NoConnections">
        <translation>No connections yet</translation>
    </message>
    <message id="Menu_Quit">
        <translation>Quit</translation>
    </message>
    <message id="Menu_Settings">
        <translation>Settings…</translation>
    </message>
    <message id="Menu_StopConnecting">
        <translation>Stop Connecting to “%1”</translation>
    </message>
    <message id="Settings_Busy">
        <translation>Connecting to “%1”…</translation>
    </message>
    <message id="Settings_ControlCharacter">
        <translation>The entry in “%1” holds a line break or another invisible character. Enter it again without that.</translation>
    </message>
    <message id="Settings_Password">
        <translation>Password</translation>
    </message>
    <message id="Settings_ProxyHost">
        <translation>Give the proxy’s host name or address alone, for example proxy.example.com; its port and login have fields of their own.</translation>
    </message>
    <message id="Settings_ProxyPassword">
        <translation>Proxy password</translation>
    </message>
    <message id="Settings_ProxyPort">
        <translation>The proxy’s port must be a number from 1 to 65535.</translation>
    </message>
    <message id="Settings_TooLong">
        <translation>The entry in “%1” is too long. Enter a shorter one.</translation>
    </message>
    <message id="Settings_Undivided">
        <translation>Not divided</translation>
    </message>
    <message id="Cli_PromptPassphrase">
        <translation>Passphrase: </translation>
    </message>
    <message id="Cli_ChooseCertificate">
        <translation>The connection shows the server a client certificate. These are there:</translation>
    </message>
    <message id="Cli_CertificateRow">
        <translation>%1) %2 (issued by %3)</translation>
    </message>
    <message id="Cli_PromptCertificate">
        <translation>Number of the certificate, or nothing to go on without one: </translation>
    </message>
    <message id="Cli_Unattended_ClientCertificate">
        <translation>The connection wants a client certificate chosen, and there is no terminal to ask on. It goes on without one.</translation>
    </message>
    <message id="VDSSLCertificate_1">
        <translation>No client certificate was found. Put one into ~/.local/share/velmoradisk/identities (.p12, .pfx or .pem), or connect its token.</translation>
    </message>
    <message id="VDSSLCertificate_2">
        <translation>Passphrase or PIN of “%1”</translation>
    </message>
    <message id="VDSSLCertificate_3">
        <translation>That is not the passphrase or PIN of “%1”. Try again.</translation>
    </message>
    <message id="VDSSLCertificate_4">
        <translation>The client certificate can’t be used. Its file or token may be gone, or the token be locked.</translation>
    </message>
    <message id="Settings_UrlLogin">
        <translation>A login does not belong into a URL, where others can see it. Enter the user name and the password in their own fields.</translation>
    </message>
    <message id="VDSettingsWindow_btnMenu">
        <translation>Velmora Dis&amp;k</translation>
    </message>
    <message id="Desktop_Help">
        <translation>velmoradisk-desktop [--background] [velmoradisk://go/CONNECTION]

Velmora Disk with its windows: an icon in the desktop's panel, and the connections. Started again, it shows the window of the instance that runs.

  --background  starts without showing a window
  --help        shows this help
  --version     shows the version</translation>
    </message>
    <message id="Desktop_UnknownArgument">
        <translation>velmoradisk-desktop doesn’t know “%1”; see velmoradisk-desktop --help</translation>
    </message>
    <message id="Desktop_NoDisplay">
        <translation>There is no display for the windows. Use the command velmoradisk instead.</translation>
    </message>
    <message id="Desktop_Quitting">
        <translation>Velmora Disk is ending. It waits until everything you saved is on the server.

Leave the computer on and connected until this message disappears.</translation>
    </message>
    <message id="Desktop_TakeOver">
        <translation>Volumes are mounted by the command velmoradisk: %1.

Velmora Disk can start once they are unmounted.</translation>
    </message>
    <message id="Desktop_TakeOver_Yes">
        <translation>Unmount and Start</translation>
    </message>
    <message id="Settings_Unsaved">
        <translation>The connection shown in the settings has changes that are not saved.</translation>
    </message>
    <message id="Settings_KeepEditing">
        <translation>Keep Editing</translation>
    </message>
    <message id="Settings_Drop">
        <translation>Drop the Changes</translation>
    </message>
</context>
</TS>
