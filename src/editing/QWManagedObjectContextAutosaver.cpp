#include "editing/QWManagedObjectContextAutosaver.h"

#include "editing/QWEditingLog_p.h"
#include "platform/QWAssert.h"
#include "store/QWManagedObjectContext.h"
#include "util/NSTimer_TimerWithBlock.h"

QWManagedObjectContextAutosaver::QWManagedObjectContextAutosaver(
    std::shared_ptr<QWManagedObjectContext> context)
    : mainManagedObjectContext_(std::move(context)) {
    QWAssert(mainManagedObjectContext_, "context",
             "-[QWManagedObjectContextAutosaver initWithManagedObjectContext:]");
    autoSaveTimer_ = scheduledTimerWithTimeInterval(
        mainManagedObjectContext_->environment().runLoop(), QWAutoSaveTimeInterval,
        [this](QWTimer&) { autosave(); }, true);
}

QWManagedObjectContextAutosaver::~QWManagedObjectContextAutosaver() {
    autoSaveTimer_->invalidate();
}

void QWManagedObjectContextAutosaver::autosave() {
    if (!mainManagedObjectContext_->hasChanges() || disableAutosave_)
        return;
    // Editors, observers of the save and the presenter may destroy this object, and with it the last hold on
    // the context.
    const auto context = mainManagedObjectContext_;
    if (!context->commitEditing())
        qCWarning(qwEditingLog,
                  "QWManagedObjectContextAutosaver:autosave: unable to commit editing before saving");
    QWError error;
    if (!context->save(&error))
        context->environment().errorPresenter().presentError(error);
}
