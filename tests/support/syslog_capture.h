// Former home of SyslogCapture, which now lives in the test bed's header.
#pragma once
#include "support/test_database.h"
