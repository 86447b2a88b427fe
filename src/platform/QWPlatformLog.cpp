#include "platform/QWPlatformLog_p.h"

Q_LOGGING_CATEGORY(qwPlatformLog, "qwlibrary.platform")
