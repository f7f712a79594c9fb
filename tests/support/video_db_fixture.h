// Former fixture of VideoDB's tests; every helper it had is DatabaseTest's now.
#pragma once
#include "support/test_database.h"

namespace kinolot_test {
using VideoDbTest = DatabaseTest;
}  // namespace kinolot_test
