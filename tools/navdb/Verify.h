// "navdb verify DB": reads every data set of a database folder and reports what is wrong, file
// by file: version stamps that differ, files of a set that are missing, indexes out of order,
// offsets and sizes that leave their files, blocks that do not decode.
#pragma once

#include <string>

#include "Output.h"

namespace navdb {

// Found (exit 0) when nothing is wrong; the findings are listed otherwise.
Report Verify(const std::string& db);

}  // namespace navdb
