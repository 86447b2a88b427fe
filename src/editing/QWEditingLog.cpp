#include "editing/QWEditingLog_p.h"

Q_LOGGING_CATEGORY(qwEditingLog, "qwlibrary.editing")
