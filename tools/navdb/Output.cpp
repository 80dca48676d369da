// Text and JSON output of the queries.
#include "Output.h"

#include <cstdio>

namespace navdb {

namespace {

bool Wide(uint32_t cp) {
    return (cp >= 0x1100 && cp <= 0x115F) || (cp >= 0x2E80 && cp <= 0xA4CF && cp != 0x303F) ||
           (cp >= 0xAC00 && cp <= 0xD7A3) || (cp >= 0xF900 && cp <= 0xFAFF) ||
           (cp >= 0xFE30 && cp <= 0xFE4F) || (cp >= 0xFF00 && cp <= 0xFF60) ||
           (cp >= 0xFFE0 && cp <= 0xFFE6) || cp >= 0x20000;
}

void Pad(const std::string& s, size_t width) {
    fputs(s.c_str(), stdout);
    for (size_t w = DisplayWidth(s); w < width; ++w) fputc(' ', stdout);
}

}  // namespace

size_t DisplayWidth(const std::string& utf8) {
    size_t width = 0;
    for (size_t i = 0; i < utf8.size();) {
        const unsigned char c = static_cast<unsigned char>(utf8[i]);
        const size_t len = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
        uint32_t cp = len == 1 ? c : c & (0x3F >> (len - 1));
        for (size_t k = 1; k < len && i + k < utf8.size(); ++k) {
            cp = cp << 6 | (static_cast<unsigned char>(utf8[i + k]) & 0x3F);
        }
        width += Wide(cp) ? 2 : 1;
        i += len;
    }
    return width;
}

void Print(const Report& report, bool asJson) {
    if (asJson) {
        // Damaged data may hold text that is not UTF-8: replaced, not fatal.
        printf("%s\n",
               report.json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
        return;
    }
    size_t keyWidth = 0;
    for (const auto& [k, v] : report.fields) keyWidth = std::max(keyWidth, DisplayWidth(k));
    for (const auto& [k, v] : report.fields) {
        Pad(k + ":", keyWidth + 2);
        printf("%s\n", v.c_str());
    }
    for (const Table& t : report.tables) {
        if (!t.title.empty()) printf("\n%s\n", t.title.c_str());
        std::vector<size_t> widths(t.columns.size());
        for (size_t c = 0; c < t.columns.size(); ++c) widths[c] = DisplayWidth(t.columns[c]);
        for (const auto& row : t.rows) {
            for (size_t c = 0; c < row.size() && c < widths.size(); ++c) {
                widths[c] = std::max(widths[c], DisplayWidth(row[c]));
            }
        }
        auto line = [&](const std::vector<std::string>& cells) {
            for (size_t c = 0; c < cells.size() && c < widths.size(); ++c) {
                if (c + 1 == cells.size()) {
                    printf("%s", cells[c].c_str());
                } else {
                    Pad(cells[c], widths[c] + 2);
                }
            }
            printf("\n");
        };
        line(t.columns);
        std::vector<std::string> rule;
        for (size_t w : widths) rule.push_back(std::string(w, '-'));
        line(rule);
        for (const auto& row : t.rows) line(row);
        if (t.rows.empty()) printf("(none)\n");
    }
}

}  // namespace navdb
