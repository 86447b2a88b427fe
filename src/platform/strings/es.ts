<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es" sourcelanguage="en">
<context>
    <name>QWLibrary</name>
    <message>
        <source>hours</source>
        <translation>horas</translation>
    </message>
    <message>
        <source>hour</source>
        <translation>hora</translation>
    </message>
    <message>
        <source>minutes</source>
        <translation>minutos</translation>
    </message>
    <message>
        <source>minute</source>
        <translation>minuto</translation>
    </message>
    <message>
        <source>DropboxAllItemsUpToDate</source>
        <translation>Todos los elementos están al día</translation>
    </message>
    <message>
        <source>DropboxCheckingForPotentialUpdates</source>
        <translation>Buscando actualizaciones</translation>
    </message>
    <message>
        <source>DropboxDownloadingPotentialUpdates</source>
        <translation>Descargando %ld posibles actualizaciones</translation>
    </message>
    <message>
        <source>DropboxUploadingUpdates</source>
        <translation>Subiendo %ld actualizaciones</translation>
    </message>
    <message>
        <source>DropboxSync</source>
        <translation>Sincronización con Dropbox</translation>
    </message>
    <message>
        <source>AuthenticateDropbox</source>
        <translation>¿Quiere conectarse a Dropbox?</translation>
    </message>
    <message>
        <source>TokenCanBeDeleted</source>
        <translation>La tecla Supr lo elimina</translation>
    </message>
</context>
</TS>
