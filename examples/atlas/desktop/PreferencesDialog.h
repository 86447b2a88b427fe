#pragma once

#include "platform/QWUserDefaults.h"
#include "store/QWManagedObjectContext.h"

#include <QDialog>
#include <QStringList>
#include <vector>

class QComboBox;

namespace atlas {

// The preferences that are the same on all desktops of the user. Each is set as soon as it is chosen; one
// that arrives from another desktop is shown at once. To be opened, not executed.
//
// | Key | Value |
// |---|---|
// | homeCountry | the alpha2 code of a country; none: no home |
// | distanceUnit | "km", which none means as well, or "mi" |
// | theme | "system", which none means as well, "light" or "dark" |
class PreferencesDialog final : public QDialog {
    Q_OBJECT
public:
    // Both must outlive the dialog. The countries to choose from are those of the context now.
    PreferencesDialog(QWUserDefaults& preferences, QWManagedObjectContext& context,
                      QWidget* parent = nullptr);

    // What the host is to share (QWDropboxSyncCoreData::syncPreferenceWithKeys).
    static QStringList keys();

private:
    struct Choice {
        QString name;
        QJsonValue value; // Undefined removes the preference
    };

    QComboBox* addPreference(const QString& key, const std::vector<Choice>& choices);
    static std::vector<Choice> countries(QWManagedObjectContext& context);

    QWUserDefaults& preferences_;
    std::vector<QWObservation> observations_;
};

} // namespace atlas
