#pragma once

#include "store/sqlite/QWSQLiteConnection.h"

#include <QStringList>
#include <optional>

// Ways to read the distinct texts of a column, by code points and without NULL; nothing when they would take
// more memory than `mostBytes` (QWDistinctTexts). `rows` is what follows the columns of a SELECT, up to where
// a condition is to be put: " FROM \"Note\" WHERE ".

// For a column with an index: from value to value in it.
std::optional<QStringList> QWReadDistinctThroughIndex(QWSQLiteConnection& connection,
                                                      const QByteArray& column, const QByteArray& rows,
                                                      qint64 mostBytes);
// For any other column.
std::optional<QStringList> QWReadDistinctFromRows(QWSQLiteConnection& connection, const QByteArray& column,
                                                  const QByteArray& rows, qint64 mostBytes);
