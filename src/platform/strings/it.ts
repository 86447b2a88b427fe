<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="it" sourcelanguage="en">
<context>
    <name>QWLibrary</name>
    <message>
        <source>hours</source>
        <translation>ore</translation>
    </message>
    <message>
        <source>hour</source>
        <translation>ora</translation>
    </message>
    <message>
        <source>minutes</source>
        <translation>minuti</translation>
    </message>
    <message>
        <source>minute</source>
        <translation>minuto</translation>
    </message>
    <message>
        <source>DropboxAllItemsUpToDate</source>
        <translation>Tutti gli elementi sono aggiornati</translation>
    </message>
    <message>
        <source>DropboxCheckingForPotentialUpdates</source>
        <translation>Ricerca di aggiornamenti</translation>
    </message>
    <message>
        <source>DropboxDownloadingPotentialUpdates</source>
        <translation>Download di %ld possibili aggiornamenti</translation>
    </message>
    <message>
        <source>DropboxUploadingUpdates</source>
        <translation>Caricamento di %ld aggiornamenti</translation>
    </message>
    <message>
        <source>DropboxSync</source>
        <translation>Sincronizzazione con Dropbox</translation>
    </message>
    <message>
        <source>AuthenticateDropbox</source>
        <translation>Connettersi a Dropbox?</translation>
    </message>
    <message>
        <source>TokenCanBeDeleted</source>
        <translation>Il tasto Canc lo rimuove</translation>
    </message>
</context>
</TS>
