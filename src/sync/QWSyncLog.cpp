#include "sync/QWSyncLog_p.h"

Q_LOGGING_CATEGORY(qwSyncLog, "qwlibrary.sync")
