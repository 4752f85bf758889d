-- The web view's cookie store, in the layout of Chromium 68.
CREATE TABLE meta(key LONGVARCHAR NOT NULL UNIQUE PRIMARY KEY, value LONGVARCHAR);
INSERT INTO meta VALUES ('version', '10'), ('last_compatible_version', '5');
CREATE TABLE cookies (creation_utc INTEGER NOT NULL, host_key TEXT NOT NULL, name TEXT NOT NULL, value TEXT NOT NULL,
    path TEXT NOT NULL, expires_utc INTEGER NOT NULL, is_secure INTEGER NOT NULL, is_httponly INTEGER NOT NULL,
    last_access_utc INTEGER NOT NULL, has_expires INTEGER NOT NULL DEFAULT 1, is_persistent INTEGER NOT NULL DEFAULT 1,
    priority INTEGER NOT NULL DEFAULT 1, encrypted_value BLOB DEFAULT '', firstpartyonly INTEGER NOT NULL DEFAULT 0,
    UNIQUE (host_key, name, path));
INSERT INTO cookies (creation_utc, host_key, name, value, path, expires_utc, is_secure, is_httponly, last_access_utc,
                     has_expires, is_persistent) VALUES
    (13349264400000000, '.example.org', 'session', 'a1b2', '/', 0, 1, 1, 13349350800000000, 0, 0),
    (13349264400000000, 'mail.example.org', 'theme', 'dark', '/mail', 13380886800000000, 0, 0, 13349350800000000, 1, 1);
