#pragma once

#include "platform/QWErrorPresenter.h"

#include <vector>

// Keeps what would have been shown.
class QWRecordingErrorPresenter final : public QWErrorPresenter {
public:
    void presentError(const QWError& error) override;

    const std::vector<QWError>& errors() const { return errors_; }

private:
    std::vector<QWError> errors_;
};
