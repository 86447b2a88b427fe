#pragma once

#include <QString>

// What becomes of a downloaded file, of an entity that there is, before the engine imports it.
struct QWImportVerdict {
    enum What {
        ForEngine, // which may find by itself that nothing changes here
        Declined,  // it is for QWDropboxSyncCoreData::declineFile
        Later,     // what gives way cannot be kept for now: it is to be decided again after a while
        LeftOut,   // nor could it be for long: the batch does without it, and a later one asks for it
    };
    QString reason; // null when the file will be taken over, else why nothing changes here
    What what = ForEngine;
};
