#pragma once

#include <QString>

// Whether two paths of the app folder name the same place: letter case and a trailing slash do not count.
bool isEqualToDropboxPath(const QString& left, const QString& right);

// The form that two paths share exactly when they name the same place: lower case, without a trailing slash.
// The root is the empty text.
QString lowercaseDropboxPath(const QString& path);

// The path of a file in a folder; "/" and the empty text are the root.
QString dropboxPath(const QString& folder, const QString& filename);
