// What a query prints: named fields and tables, as aligned UTF-8 text for people or as one JSON
// object for programs.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace navdb {

struct Table {
    std::string title;
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows;
};

struct Report {
    bool found = false;  // exit code 0 when set, 1 otherwise
    nlohmann::json json = nlohmann::json::object();
    std::vector<std::pair<std::string, std::string>> fields;  // "name: value" lines
    std::vector<Table> tables;
};

// Prints the report on stdout: the JSON object, or the fields and tables.
void Print(const Report& report, bool asJson);

// Columns of a terminal that `utf8` takes: two for wide (CJK, full-width) characters.
size_t DisplayWidth(const std::string& utf8);

}  // namespace navdb
