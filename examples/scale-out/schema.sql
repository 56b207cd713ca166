-- One partition a day, made by redis-to-postgres when it meets the day; to forget a day is to drop its table. The key is what
-- an event is: the bytes of its line. The same event that comes twice has the same.
CREATE TABLE IF NOT EXISTS events (
    day    date        NOT NULL,
    digest bytea       NOT NULL,
    at     timestamptz NOT NULL,
    event  jsonb       NOT NULL,
    PRIMARY KEY (day, digest)
) PARTITION BY RANGE (day);
