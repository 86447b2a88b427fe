#pragma once

#include <QString>
#include <QWidget>

// Which attribute a widget edits is said by two properties of it, set from code or as dynamic properties in
// Qt Designer:
//
//     observedKeyPath   the path that its value is bound to: "selection.tags" names the attribute "tags"
//     identifier        the attribute of a widget that is bound to no path; without it, the object's name is
namespace qw {

inline constexpr const char* observedKeyPathProperty = "observedKeyPath";
inline constexpr const char* identifierProperty = "identifier";

// Null when the property is missing or empty.
inline QString observedKeyPathOf(const QWidget& widget) {
    const QString path = widget.property(observedKeyPathProperty).toString();
    return path.isEmpty() ? QString() : path;
}
// Null when neither says anything.
inline QString identifierOf(const QWidget& widget) {
    const QString identifier = widget.property(identifierProperty).toString();
    const QString name = identifier.isEmpty() ? widget.objectName() : identifier;
    return name.isEmpty() ? QString() : name;
}

} // namespace qw
