"""Storage of the reference provider: profiles and problem reports as XML text in SQLite, keyed by the
URI the provider assigned. Thread-safe through one lock. Knows nothing about SOAP or message content."""

import sqlite3
import threading


class Store:
    def __init__(self, path=":memory:"):
        self._lock = threading.Lock()
        self._db = sqlite3.connect(path, check_same_thread=False, isolation_level=None)
        self._db.execute("PRAGMA journal_mode=WAL" if path != ":memory:" else "PRAGMA journal_mode=MEMORY")
        self._db.execute(
            "CREATE TABLE IF NOT EXISTS items ("
            " id INTEGER PRIMARY KEY AUTOINCREMENT,"
            " kind TEXT NOT NULL,"
            " uri TEXT UNIQUE,"
            " xml TEXT NOT NULL)")

    def create(self, kind, make_uri, make_xml):
        """Inserts a new item; make_uri(n) gives its URI from the row number, make_xml(uri) its text."""
        with self._lock:
            cur = self._db.execute("INSERT INTO items (kind, xml) VALUES (?, '')", (kind,))
            n = cur.lastrowid
            uri = make_uri(n)
            xml = make_xml(uri)
            self._db.execute("UPDATE items SET uri = ?, xml = ? WHERE id = ?", (uri, xml, n))
            return uri, xml

    def get(self, kind, uri):
        with self._lock:
            row = self._db.execute("SELECT xml FROM items WHERE kind = ? AND uri = ?", (kind, uri)).fetchone()
            return row[0] if row else None

    def put(self, kind, uri, xml):
        with self._lock:
            cur = self._db.execute("UPDATE items SET xml = ? WHERE kind = ? AND uri = ?", (xml, kind, uri))
            return cur.rowcount == 1

    def remove(self, kind, uri):
        with self._lock:
            cur = self._db.execute("DELETE FROM items WHERE kind = ? AND uri = ?", (kind, uri))
            return cur.rowcount == 1

    def all(self, kind):
        with self._lock:
            return self._db.execute("SELECT uri, xml FROM items WHERE kind = ? ORDER BY id", (kind,)).fetchall()

    def close(self):
        with self._lock:
            self._db.close()
