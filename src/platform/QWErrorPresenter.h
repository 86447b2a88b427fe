#pragma once

#include "platform/QWError.h"

// Shows a failure to the user. Replaceable: a host with windows installs one that opens a message box.
class QWErrorPresenter {
public:
    virtual ~QWErrorPresenter();
    virtual void presentError(const QWError& error) = 0;
};

// Writes the error to the log, for hosts without a user interface.
class QWLogErrorPresenter final : public QWErrorPresenter {
public:
    void presentError(const QWError& error) override;
};
