#pragma once
// A prepared statement that finalizes itself, and the one-shot exec beside it. Every failure is
// written into the caller's StorageStatus, so the store's operations read as straight lines of
// SQL and stop at the first status that is not a success.

#include "workspace/storagestatus.h"

#include <cstdint>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace torvo {

class SqlStatement {
public:
    SqlStatement(sqlite3* db, const std::string& sql, StorageStatus& status);
    SqlStatement(const SqlStatement&) = delete;
    SqlStatement& operator=(const SqlStatement&) = delete;
    ~SqlStatement();

    bool valid() const { return stmt != nullptr; }
    /// Positions start at 1, as SQLite counts them.
    SqlStatement& bind(int position, int64_t value);
    SqlStatement& bind(int position, int value) { return bind(position, int64_t(value)); }
    SqlStatement& bind(int position, double value);
    SqlStatement& bind(int position, const std::string& text);
    /// True while a row is ready; false when done or on failure (then the status says which).
    bool step();
    /// Steps to the end; true when the statement completed.
    bool run();
    void reset();

    int64_t int64At(int column) const;
    int intAt(int column) const { return int(int64At(column)); }
    double doubleAt(int column) const;
    std::string textAt(int column) const;

private:
    sqlite3* db = nullptr;
    sqlite3_stmt* stmt = nullptr;
    StorageStatus& status;
};

/// Row id of the last successful INSERT on the handle.
int64_t lastInsertId(sqlite3* db);
/// Rows changed by the last statement on the handle.
int changedRows(sqlite3* db);

/// Runs one or more statements without results; false (status set) on failure.
bool execSql(sqlite3* db, const std::string& sql, StorageStatus& status);

} // namespace torvo
