#include "desktop/PreferencesDialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace atlas {

namespace {

const QString homeCountryKey = QStringLiteral("homeCountry");
const QString distanceUnitKey = QStringLiteral("distanceUnit");
const QString themeKey = QStringLiteral("theme");

const QJsonValue none = QJsonValue::Undefined;

} // namespace

QStringList PreferencesDialog::keys() {
    return {homeCountryKey, distanceUnitKey, themeKey};
}

PreferencesDialog::PreferencesDialog(QWUserDefaults& preferences, QWManagedObjectContext& context,
                                     QWidget* parent)
    : QDialog(parent), preferences_(preferences) {
    setWindowTitle(tr("Preferences"));
    auto* form = new QFormLayout;
    form->addRow(tr("&Home country:"), addPreference(homeCountryKey, countries(context)));
    form->addRow(tr("&Distances in:"),
                 addPreference(distanceUnitKey, {{tr("Kilometres"), "km"}, {tr("Miles"), "mi"}}));
    form->addRow(tr("&Colours:"), addPreference(themeKey, {{tr("As the system"), "system"},
                                                           {tr("Light"), "light"},
                                                           {tr("Dark"), "dark"}}));
    auto* note = new QLabel(tr("These are the same on all your desktops."));
    note->setWordWrap(true);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(note);
    layout->addWidget(buttons);
}

// A box over the choices. A value that is none of them is shown as it is.
QComboBox* PreferencesDialog::addPreference(const QString& key, const std::vector<Choice>& choices) {
    auto* box = new QComboBox(this);
    box->setObjectName(key);
    for (const Choice& choice : choices)
        box->addItem(choice.name, choice.value.toVariant());
    const auto show = [box](const QJsonValue& value) {
        int index = value.isUndefined() || value.isNull() ? 0 : box->findData(value.toVariant());
        if (index < 0) {
            box->addItem(value.toVariant().toString(), value.toVariant());
            index = box->count() - 1;
        }
        box->setCurrentIndex(index);
    };
    show(preferences_.object(key));
    observations_.push_back(preferences_.observe(key, show));
    // By the user; what is shown is not set.
    connect(box, &QComboBox::activated, this, [this, box, key](int index) {
        const QVariant chosen = box->itemData(index);
        preferences_.setObject(key, chosen.isValid() ? QJsonValue::fromVariant(chosen) : none);
    });
    return box;
}

std::vector<PreferencesDialog::Choice> PreferencesDialog::countries(QWManagedObjectContext& context) {
    std::vector<Choice> choices{{tr("None"), none}};
    QWFetchRequest request(QStringLiteral("Country"));
    request.sortDescriptors = {{"sortName", true, QWSortDescriptor::Comparison::LocalizedCaseInsensitive}};
    for (const auto& country : context.fetch(request).value_or(QWManagedObjectSet()))
        choices.push_back(
            {country->valueForKey("name").toString(), country->valueForKey("alpha2").toString()});
    return choices;
}

} // namespace atlas
