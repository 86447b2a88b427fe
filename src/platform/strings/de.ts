<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>QWLibrary</name>
    <message>
        <source>hours</source>
        <translation>Stunden</translation>
    </message>
    <message>
        <source>hour</source>
        <translation>Stunde</translation>
    </message>
    <message>
        <source>minutes</source>
        <translation>Minuten</translation>
    </message>
    <message>
        <source>minute</source>
        <translation>Minute</translation>
    </message>
    <message>
        <source>DropboxAllItemsUpToDate</source>
        <translation>Alle Objekte sind auf dem neuesten Stand</translation>
    </message>
    <message>
        <source>DropboxCheckingForPotentialUpdates</source>
        <translation>Nach Aktualisierungen wird gesucht</translation>
    </message>
    <message>
        <source>DropboxDownloadingPotentialUpdates</source>
        <translation>%ld mögliche Aktualisierungen werden geladen</translation>
    </message>
    <message>
        <source>DropboxUploadingUpdates</source>
        <translation>%ld Aktualisierungen werden hochgeladen</translation>
    </message>
    <message>
        <source>DropboxSync</source>
        <translation>Synchronisierung mit Dropbox</translation>
    </message>
    <message>
        <source>AuthenticateDropbox</source>
        <translation>Möchten Sie sich mit Dropbox verbinden?</translation>
    </message>
    <message>
        <source>TokenCanBeDeleted</source>
        <translation>Die Entfernen-Taste löscht es</translation>
    </message>
</context>
</TS>
