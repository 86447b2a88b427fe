<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ar" sourcelanguage="en">
<context>
    <name>QWLibrary</name>
    <message>
        <source>hours</source>
        <translatorcomment>That of 3 to 10. It differs from the form of 1, and of 11 and above, so that both are read.</translatorcomment>
        <translation>ساعات</translation>
    </message>
    <message>
        <source>hour</source>
        <translation>ساعة</translation>
    </message>
    <message>
        <source>minutes</source>
        <translatorcomment>One form for every number: that of 11 and above. What follows the digits of minutes is not read.</translatorcomment>
        <translation>دقيقة</translation>
    </message>
    <message>
        <source>minute</source>
        <translation>دقيقة</translation>
    </message>
    <message>
        <source>DropboxAllItemsUpToDate</source>
        <translation>جميع العناصر محدّثة</translation>
    </message>
    <message>
        <source>DropboxCheckingForPotentialUpdates</source>
        <translation>جارٍ التحقق من وجود تحديثات</translation>
    </message>
    <message>
        <source>DropboxDownloadingPotentialUpdates</source>
        <translation>جارٍ تنزيل التحديثات المحتملة (%ld)</translation>
    </message>
    <message>
        <source>DropboxUploadingUpdates</source>
        <translation>جارٍ رفع التحديثات (%ld)</translation>
    </message>
    <message>
        <source>DropboxSync</source>
        <translation>المزامنة مع Dropbox</translation>
    </message>
    <message>
        <source>AuthenticateDropbox</source>
        <translation>هل تريد الاتصال بـ Dropbox؟</translation>
    </message>
    <message>
        <source>TokenCanBeDeleted</source>
        <translation>يحذفه مفتاح Delete</translation>
    </message>
</context>
</TS>
