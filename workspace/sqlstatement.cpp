#include "workspace/sqlstatement.h"

#include <sqlite3.h>

namespace torvo {

SqlStatement::SqlStatement(sqlite3* handle, const std::string& sql, StorageStatus& out)
    : db(handle), status(out) {
    if (db == nullptr) {
        status.set(SQLITE_MISUSE);
        return;
    }
    const int rc = sqlite3_prepare_v2(db, sql.c_str(), int(sql.size()), &stmt, nullptr);
    if (rc != SQLITE_OK) {
        status.set(rc);
        sqlite3_finalize(stmt);
        stmt = nullptr;
    }
}

SqlStatement::~SqlStatement() {
    sqlite3_finalize(stmt);
}

SqlStatement& SqlStatement::bind(int position, int64_t value) {
    if (stmt != nullptr) sqlite3_bind_int64(stmt, position, value);
    return *this;
}

SqlStatement& SqlStatement::bind(int position, double value) {
    if (stmt != nullptr) sqlite3_bind_double(stmt, position, value);
    return *this;
}

SqlStatement& SqlStatement::bind(int position, const std::string& text) {
    if (stmt != nullptr)
        sqlite3_bind_text(stmt, position, text.data(), int(text.size()), SQLITE_TRANSIENT);
    return *this;
}

bool SqlStatement::step() {
    if (stmt == nullptr) return false;
    const int rc = sqlite3_step(stmt);
    if (rc == SQLITE_ROW) return true;
    if (rc != SQLITE_DONE) status.set(rc);
    return false;
}

bool SqlStatement::run() {
    if (stmt == nullptr) return false;
    int rc = SQLITE_ROW;
    while (rc == SQLITE_ROW) rc = sqlite3_step(stmt);
    if (rc != SQLITE_DONE) {
        status.set(rc);
        return false;
    }
    return true;
}

void SqlStatement::reset() {
    if (stmt == nullptr) return;
    sqlite3_reset(stmt);
    sqlite3_clear_bindings(stmt);
}

int64_t SqlStatement::int64At(int column) const {
    return stmt != nullptr ? sqlite3_column_int64(stmt, column) : 0;
}

double SqlStatement::doubleAt(int column) const {
    return stmt != nullptr ? sqlite3_column_double(stmt, column) : 0.0;
}

std::string SqlStatement::textAt(int column) const {
    if (stmt == nullptr) return {};
    const unsigned char* text = sqlite3_column_text(stmt, column);
    if (text == nullptr) return {};
    return std::string(reinterpret_cast<const char*>(text),
                       std::size_t(sqlite3_column_bytes(stmt, column)));
}

int64_t lastInsertId(sqlite3* db) {
    return db != nullptr ? sqlite3_last_insert_rowid(db) : -1;
}

int changedRows(sqlite3* db) {
    return db != nullptr ? sqlite3_changes(db) : 0;
}

bool execSql(sqlite3* db, const std::string& sql, StorageStatus& status) {
    if (db == nullptr) {
        status.set(SQLITE_MISUSE);
        return false;
    }
    const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) {
        status.set(rc);
        return false;
    }
    return true;
}

} // namespace torvo
