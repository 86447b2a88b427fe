#include "core/QWCoreLog_p.h"

Q_LOGGING_CATEGORY(qwCoreLog, "qwlibrary.core")
