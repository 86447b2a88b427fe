#pragma once

#include <QString>

// A field that edits one attribute of a record, as those see it that complete what is typed into it. Which
// attribute that is, it says by the path that its value is bound to, or by its name.
class QWBoundField {
public:
    virtual ~QWBoundField() = default;

    // The path that the value is bound to, "selection.tags"; null when it is bound to none.
    virtual QString observedKeyPath() const = 0;
    // What the field is called; null when it has no name.
    virtual QString identifier() const = 0;

    // The attribute: the last piece of the path ("tags"), or the identifier of a field that is bound to none.
    QString fieldKey() const {
        const QString path = observedKeyPath();
        return path.isNull() ? identifier() : path.mid(path.lastIndexOf(u'.') + 1);
    }
};
