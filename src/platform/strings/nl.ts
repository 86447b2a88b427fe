<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="nl" sourcelanguage="en">
<context>
    <name>QWLibrary</name>
    <message>
        <source>hours</source>
        <translation>uren</translation>
    </message>
    <message>
        <source>hour</source>
        <translation>uur</translation>
    </message>
    <message>
        <source>minutes</source>
        <translation>minuten</translation>
    </message>
    <message>
        <source>minute</source>
        <translation>minuut</translation>
    </message>
    <message>
        <source>DropboxAllItemsUpToDate</source>
        <translation>Alle onderdelen zijn bijgewerkt</translation>
    </message>
    <message>
        <source>DropboxCheckingForPotentialUpdates</source>
        <translation>Zoeken naar updates</translation>
    </message>
    <message>
        <source>DropboxDownloadingPotentialUpdates</source>
        <translation>%ld mogelijke updates downloaden</translation>
    </message>
    <message>
        <source>DropboxUploadingUpdates</source>
        <translation>%ld updates uploaden</translation>
    </message>
    <message>
        <source>DropboxSync</source>
        <translation>Synchronisatie met Dropbox</translation>
    </message>
    <message>
        <source>AuthenticateDropbox</source>
        <translation>Wilt u verbinding maken met Dropbox?</translation>
    </message>
    <message>
        <source>TokenCanBeDeleted</source>
        <translation>De Delete-toets verwijdert het</translation>
    </message>
</context>
</TS>
