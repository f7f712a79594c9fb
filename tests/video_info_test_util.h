// Former home of the indexing record builders, which now live in the test bed.
#pragma once
#include "support/test_database.h"
