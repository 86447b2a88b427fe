#include "qw_pch.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include "../tests/support/QtPrinters.h"
