<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="pt" sourcelanguage="en">
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
        <translation>Todos os itens estão atualizados</translation>
    </message>
    <message>
        <source>DropboxCheckingForPotentialUpdates</source>
        <translation>Verificação de atualizações</translation>
    </message>
    <message>
        <source>DropboxDownloadingPotentialUpdates</source>
        <translation>Download de %ld possíveis atualizações</translation>
    </message>
    <message>
        <source>DropboxUploadingUpdates</source>
        <translation>Envio de %ld atualizações</translation>
    </message>
    <message>
        <source>DropboxSync</source>
        <translation>Sincronização com o Dropbox</translation>
    </message>
    <message>
        <source>AuthenticateDropbox</source>
        <translation>Deseja conectar-se ao Dropbox?</translation>
    </message>
    <message>
        <source>TokenCanBeDeleted</source>
        <translation>A tecla Delete remove-o</translation>
    </message>
</context>
</TS>
