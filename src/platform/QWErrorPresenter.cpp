#include "platform/QWErrorPresenter.h"

#include "platform/QWPlatformLog_p.h"

QWErrorPresenter::~QWErrorPresenter() = default;

void QWLogErrorPresenter::presentError(const QWError& error) {
    qCCritical(qwPlatformLog, "%s %d: %s", qUtf8Printable(error.domain), error.code,
               qUtf8Printable(error.message));
}
