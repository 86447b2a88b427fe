<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru" sourcelanguage="en">
<context>
    <name>QWLibrary</name>
    <message>
        <source>hours</source>
        <translatorcomment>An abbreviation, because it is the same after every number.</translatorcomment>
        <translation>ч</translation>
    </message>
    <message>
        <source>hour</source>
        <translation>ч</translation>
    </message>
    <message>
        <source>minutes</source>
        <translation>мин</translation>
    </message>
    <message>
        <source>minute</source>
        <translation>мин</translation>
    </message>
    <message>
        <source>DropboxAllItemsUpToDate</source>
        <translation>Все объекты обновлены</translation>
    </message>
    <message>
        <source>DropboxCheckingForPotentialUpdates</source>
        <translation>Поиск обновлений</translation>
    </message>
    <message>
        <source>DropboxDownloadingPotentialUpdates</source>
        <translation>Загрузка возможных обновлений: %ld</translation>
    </message>
    <message>
        <source>DropboxUploadingUpdates</source>
        <translation>Отправка обновлений: %ld</translation>
    </message>
    <message>
        <source>DropboxSync</source>
        <translation>Синхронизация с Dropbox</translation>
    </message>
    <message>
        <source>AuthenticateDropbox</source>
        <translation>Подключиться к Dropbox?</translation>
    </message>
    <message>
        <source>TokenCanBeDeleted</source>
        <translation>Удаляется клавишей Delete</translation>
    </message>
</context>
</TS>
