<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>QWLibrary</name>
    <message>
        <source>hours</source>
        <translation>hours</translation>
    </message>
    <message>
        <source>hour</source>
        <translation>hour</translation>
    </message>
    <message>
        <source>minutes</source>
        <translation>minutes</translation>
    </message>
    <message>
        <source>minute</source>
        <translation>minute</translation>
    </message>
    <message>
        <source>DropboxAllItemsUpToDate</source>
        <translation>All items are up to date</translation>
    </message>
    <message>
        <source>DropboxCheckingForPotentialUpdates</source>
        <translation>Checking for updates</translation>
    </message>
    <message>
        <source>DropboxDownloadingPotentialUpdates</source>
        <translation>Downloading %ld potential updates</translation>
    </message>
    <message>
        <source>DropboxUploadingUpdates</source>
        <translation>Uploading %ld updates</translation>
    </message>
    <message>
        <source>DropboxSync</source>
        <translation>Synchronisation with Dropbox</translation>
    </message>
    <message>
        <source>AuthenticateDropbox</source>
        <translation>Do you want to connect to Dropbox?</translation>
    </message>
    <message>
        <source>TokenCanBeDeleted</source>
        <translation>The Delete key removes it</translation>
    </message>
</context>
</TS>
