#pragma once

class QWDropboxSyncCoreData;
class QWManagedObjectWithSyncSupport;

// What the engine asks of its host. Every message is sent without asking first whether it is answered: an
// operation that the host does not override stops with the assertion "unknown operation". Without a
// delegate the answer is NO. Called on the engine's thread.
class QWDropboxSyncCoreDataDelegate {
public:
    virtual ~QWDropboxSyncCoreDataDelegate();

    // The cloud has refused the access token; the engine has stopped already.
    virtual void accessTokenExpiredDropbox(QWDropboxSyncCoreData& engine);
    // Whether the change of an updated or refreshed record is to be sent. Its changed keys for the current
    // event tell what changed.
    virtual bool shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport& object);
    // The user wants to sign in: authenticate, then activate the engine. Asked by hosts' windows alone.
    virtual void authenticateAndEnableCoreDataSync(QWDropboxSyncCoreData& engine);
};
