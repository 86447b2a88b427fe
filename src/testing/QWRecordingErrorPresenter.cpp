#include "testing/QWRecordingErrorPresenter.h"

void QWRecordingErrorPresenter::presentError(const QWError& error) {
    errors_.push_back(error);
}
