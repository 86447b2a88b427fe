#include "../tests/support/QtPrinters.h"
#include "qw_pch.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
