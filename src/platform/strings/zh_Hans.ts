<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_Hans" sourcelanguage="en">
<context>
    <name>QWLibrary</name>
    <message>
        <source>hours</source>
        <translation>小时</translation>
    </message>
    <message>
        <source>hour</source>
        <translation>小时</translation>
    </message>
    <message>
        <source>minutes</source>
        <translation>分钟</translation>
    </message>
    <message>
        <source>minute</source>
        <translation>分钟</translation>
    </message>
    <message>
        <source>DropboxAllItemsUpToDate</source>
        <translation>所有项目均为最新</translation>
    </message>
    <message>
        <source>DropboxCheckingForPotentialUpdates</source>
        <translation>正在检查更新</translation>
    </message>
    <message>
        <source>DropboxDownloadingPotentialUpdates</source>
        <translation>正在下载 %ld 个可能的更新</translation>
    </message>
    <message>
        <source>DropboxUploadingUpdates</source>
        <translation>正在上传 %ld 个更新</translation>
    </message>
    <message>
        <source>DropboxSync</source>
        <translation>与 Dropbox 同步</translation>
    </message>
    <message>
        <source>AuthenticateDropbox</source>
        <translation>要连接到 Dropbox 吗？</translation>
    </message>
    <message>
        <source>TokenCanBeDeleted</source>
        <translation>按 Delete 键可将其删除</translation>
    </message>
</context>
</TS>
