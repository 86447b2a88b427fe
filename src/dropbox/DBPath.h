#pragma once

#include <QString>

// Whether two paths of the app folder name the same place: letter case and a trailing slash do not count.
bool isEqualToDropboxPath(const QString& left, const QString& right);
