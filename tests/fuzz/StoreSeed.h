#pragma once

#include <QByteArray>

// Sound files of a desktop that has worked: with every table in use.
namespace storeSeed {

QByteArray cacheFile();
QByteArray libraryFile();

} // namespace storeSeed
