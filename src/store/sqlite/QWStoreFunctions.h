#pragma once

#include "store/sqlite/QWSQLiteConnection.h"

// Gives a connection the functions that our statements call: those of predicates, and qw_sort_key(text),
// bytes whose order is the user's order of texts. Throws QWStoreFailure.
void QWRegisterStoreFunctions(QWSQLiteConnection& connection);
