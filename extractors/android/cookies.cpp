/// Cookies of the application's web view.
#include "extractors/android/extract_step.h"

namespace {

constexpr column cookie_columns[] = {
    columns::text("host_key"),
    columns::text("name"),
    columns::text("value"),
    columns::text("path"),
    columns::yes_no("is_secure"),
    columns::yes_no("is_httponly"),
    columns::google_time("creation_utc"),
    columns::google_time("expires_utc"),
    columns::google_time("last_access_utc"),
    columns::yes_no("has_expires"), // it has an expiry date; the column is called has_expired
    columns::yes_no("is_persistent"),
    columns::account,
    columns::source_file,
    columns::os_scheme_display,
    columns::source_count_name,
};

} // namespace

constexpr extract_step cookie_step(
    "Select host_key,name, value,path ,creation_utc,expires_utc, last_access_utc, is_secure,is_httponly,has_expires,"
    "is_persistent from cookies",
    "insert into cookies(bookmark,host_key, name, value, path ,is_secure,is_http_only,creation_time,expire_time,"
    "last_access_time, has_expired,is_persistent, account_id, source_file,os_scheme_display, source_count_name) "
    "values(0,?,?,?,?,  ?,?,?,?,?,  ?,?,?,?,?, ?)",
    cookie_columns);
