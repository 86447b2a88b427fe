<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
<context>
    <name>QWLibrary</name>
    <message>
        <source>hours</source>
        <translation>heures</translation>
    </message>
    <message>
        <source>hour</source>
        <translation>heure</translation>
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
        <translation>Tous les éléments sont à jour</translation>
    </message>
    <message>
        <source>DropboxCheckingForPotentialUpdates</source>
        <translation>Recherche de mises à jour</translation>
    </message>
    <message>
        <source>DropboxDownloadingPotentialUpdates</source>
        <translation>Téléchargement de %ld mises à jour possibles</translation>
    </message>
    <message>
        <source>DropboxUploadingUpdates</source>
        <translation>Envoi de %ld mises à jour</translation>
    </message>
    <message>
        <source>DropboxSync</source>
        <translation>Synchronisation avec Dropbox</translation>
    </message>
    <message>
        <source>AuthenticateDropbox</source>
        <translation>Voulez-vous vous connecter à Dropbox ?</translation>
    </message>
    <message>
        <source>TokenCanBeDeleted</source>
        <translation>La touche Suppr le retire</translation>
    </message>
</context>
</TS>
