// The picture as tables for people. Pure.
#pragma once

#include <string>
#include <vector>

#include "poectl/command.h"
#include "poectl/picture.h"

namespace poectl {

// Columns as wide as their widest cell, two spaces between them, cells beginning with a digit or a sign to the right.
std::string table(const std::vector<std::vector<std::string>>& rows);

// A terminal gets plots where a file or a pipe gets columns.
enum class output { columns, terminal };

std::string as_text(const command& asked, const picture& seen, output to = output::columns);

}  // namespace poectl
