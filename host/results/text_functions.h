/// Case-insensitive comparison of texts in queries, for more letters than SQLite knows.
#pragma once

struct sqlite3;

/// Give a connection the functions `contains_text(text, sought)` and `same_text(text, other)`. Both are false for NULL.
void add_text_functions(sqlite3 *connection);
