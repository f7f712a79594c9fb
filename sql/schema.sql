-- The schema of the video_metadata database.
--
-- Every video, TV show and video file owns one row of `mapper`; every other
-- table refers to it through `mapper_id`, and deleting the mapper row deletes
-- everything that refers to it. The genre table and its column are spelled
-- "gnere". Column names are unquoted, so PostgreSQL folds them to lower case
-- (resolutionx, islock).
--
-- The library never runs this file; scripts/pg-cluster.sh runs it as the
-- database's owner on every start. Every statement is written to be run again
-- on a database made by an older version of this file: tables and indexes are
-- created only when missing, so an existing library gains new indexes and
-- keeps its rows.
--
-- Beside each index, the statements it serves. Lists sort by
-- "ORDER BY UPPER(<table>.sort_title)" and page with OFFSET/LIMIT; the
-- additional information of a page is read by "mapper_id in (SELECT mapper_id
-- FROM <table> WHERE id=...)"; searches match fragments with
-- "<column> ilike '%...%'", which only trigram indexes (pg_trgm) can serve.

-- ILIKE '%fragment%' can use a GIN index only with trigram operator classes.
-- pg_trgm ships with the server and is trusted, so the owner may create it.
CREATE EXTENSION IF NOT EXISTS pg_trgm;

CREATE TABLE IF NOT EXISTS mapper (
    id   SERIAL PRIMARY KEY,
    type TEXT NOT NULL
);

CREATE TABLE IF NOT EXISTS movie (
    id                   SERIAL PRIMARY KEY,
    mapper_id            INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    title                TEXT NOT NULL DEFAULT '',
    sort_title           TEXT NOT NULL DEFAULT '',
    tag_line             TEXT NOT NULL DEFAULT '',
    year                 INTEGER NOT NULL DEFAULT 0,
    originally_available DATE,
    sort_time            TIMESTAMP,
    isLock               BOOLEAN NOT NULL DEFAULT false,
    create_date          TIMESTAMP NOT NULL DEFAULT current_timestamp,
    modify_date          TIMESTAMP NOT NULL DEFAULT current_timestamp
);
-- Reading a movie by its mapper (VideoInfoGetOne, the additional
-- information's "SELECT mapper_id FROM movie WHERE id=..." counterpart, joins
-- "mapper.id=movie.mapper_id" of searches and collections).
CREATE INDEX IF NOT EXISTS movie_mapper_id_idx ON movie (mapper_id);
-- The identity look-up of saving and Edit, "UPPER(title) = UPPER('...') AND
-- year = N", and Search's "ORDER BY UPPER(movie.title)".
CREATE INDEX IF NOT EXISTS movie_title_year_idx ON movie (UPPER(title), year);
-- List's "ORDER BY UPPER(movie.sort_title) ... OFFSET n LIMIT m": an index
-- scan reads only the rows up to the page instead of sorting every movie.
CREATE INDEX IF NOT EXISTS movie_sort_title_idx ON movie (UPPER(sort_title));
-- Search's "title ilike '%...%'", alone or among GlobalSearch's keywords.
CREATE INDEX IF NOT EXISTS movie_title_trgm_idx ON movie USING gin (title gin_trgm_ops);

CREATE TABLE IF NOT EXISTS tvshow (
    id                   SERIAL PRIMARY KEY,
    mapper_id            INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    title                TEXT NOT NULL DEFAULT '',
    sort_title           TEXT NOT NULL DEFAULT '',
    year                 INTEGER NOT NULL DEFAULT 0,
    originally_available DATE,
    sort_time            TIMESTAMP,
    isLock               BOOLEAN NOT NULL DEFAULT false,
    create_date          TIMESTAMP NOT NULL DEFAULT current_timestamp,
    modify_date          TIMESTAMP NOT NULL DEFAULT current_timestamp
);
-- Reading a show by its mapper, and "tvshow.mapper_id" of an episode's show.
CREATE INDEX IF NOT EXISTS tvshow_mapper_id_idx ON tvshow (mapper_id);
-- The show's identity look-up "UPPER(tvshow.title) = UPPER('...') AND
-- tvshow.year= N" of saving an episode and of Edit, and "ORDER BY
-- UPPER(tvshow.title)".
CREATE INDEX IF NOT EXISTS tvshow_title_year_idx ON tvshow (UPPER(title), year);
-- List's "ORDER BY UPPER(tvshow.sort_title)" with OFFSET/LIMIT.
CREATE INDEX IF NOT EXISTS tvshow_sort_title_idx ON tvshow (UPPER(sort_title));
-- Search's "title ilike '%...%'" on shows.
CREATE INDEX IF NOT EXISTS tvshow_title_trgm_idx ON tvshow USING gin (title gin_trgm_ops);

CREATE TABLE IF NOT EXISTS tvshow_episode (
    id                   SERIAL PRIMARY KEY,
    mapper_id            INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    tvshow_id            INTEGER REFERENCES tvshow(id) ON DELETE CASCADE,
    season               INTEGER NOT NULL DEFAULT 0,
    episode              INTEGER NOT NULL DEFAULT 0,
    tag_line             TEXT NOT NULL DEFAULT '',
    year                 INTEGER NOT NULL DEFAULT 0,
    originally_available DATE,
    sort_time            TIMESTAMP,
    isLock               BOOLEAN NOT NULL DEFAULT false,
    create_date          TIMESTAMP NOT NULL DEFAULT current_timestamp,
    modify_date          TIMESTAMP NOT NULL DEFAULT current_timestamp
);
-- Reading an episode by its mapper, and the additional information's
-- "SELECT mapper_id FROM tvshow_episode WHERE id=...".
CREATE INDEX IF NOT EXISTS tvshow_episode_mapper_id_idx ON tvshow_episode (mapper_id);
-- A show's episodes: the additional information's "SELECT * FROM
-- tvshow_episode WHERE tvshow_id in (...)", List's "tvshow_episode.tvshow_id=N",
-- the joins "tvshow.id=tvshow_episode.tvshow_id", and the episode identity
-- look-up by show, season and episode.
CREATE INDEX IF NOT EXISTS tvshow_episode_tvshow_id_idx ON tvshow_episode (tvshow_id, season, episode);

CREATE TABLE IF NOT EXISTS home_video (
    id          SERIAL PRIMARY KEY,
    mapper_id   INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    title       TEXT NOT NULL DEFAULT '',
    sort_title  TEXT NOT NULL DEFAULT '',
    record_time TIMESTAMP,
    isLock      BOOLEAN NOT NULL DEFAULT false,
    create_date TIMESTAMP NOT NULL DEFAULT current_timestamp,
    modify_date TIMESTAMP NOT NULL DEFAULT current_timestamp
);
-- Reading a home video by its mapper.
CREATE INDEX IF NOT EXISTS home_video_mapper_id_idx ON home_video (mapper_id);
-- The identity look-up "UPPER(title) = UPPER('...') AND record_time = ...".
CREATE INDEX IF NOT EXISTS home_video_title_time_idx ON home_video (UPPER(title), record_time);
-- List's "ORDER BY UPPER(home_video.sort_title)" with OFFSET/LIMIT.
CREATE INDEX IF NOT EXISTS home_video_sort_title_idx ON home_video (UPPER(sort_title));
-- Search's "title ilike '%...%'" on home videos. Like the other trigram
-- indexes of the smaller tables, the planner picks it once the table holds
-- tens of thousands of rows; below that a scan of the table is cheaper.
CREATE INDEX IF NOT EXISTS home_video_title_trgm_idx ON home_video USING gin (title gin_trgm_ops);

CREATE TABLE IF NOT EXISTS tv_record (
    id           SERIAL PRIMARY KEY,
    mapper_id    INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    title        TEXT NOT NULL DEFAULT '',
    sort_title   TEXT NOT NULL DEFAULT '',
    record_time  TIMESTAMP,
    channel_name TEXT NOT NULL DEFAULT '',
    isLock       BOOLEAN NOT NULL DEFAULT false,
    create_date  TIMESTAMP NOT NULL DEFAULT current_timestamp,
    modify_date  TIMESTAMP NOT NULL DEFAULT current_timestamp
);
-- Reading a recording by its mapper.
CREATE INDEX IF NOT EXISTS tv_record_mapper_id_idx ON tv_record (mapper_id);
-- The identity look-up "UPPER(title) = UPPER('...') AND record_time = ...".
CREATE INDEX IF NOT EXISTS tv_record_title_time_idx ON tv_record (UPPER(title), record_time);
-- List's "ORDER BY UPPER(tv_record.sort_title)" with OFFSET/LIMIT.
CREATE INDEX IF NOT EXISTS tv_record_sort_title_idx ON tv_record (UPPER(sort_title));
-- Search's "title ilike '%...%'" on recordings. (Channel names are few and
-- short; "channel_name ilike '%...%'" reads the table.)
CREATE INDEX IF NOT EXISTS tv_record_title_trgm_idx ON tv_record USING gin (title gin_trgm_ops);

CREATE TABLE IF NOT EXISTS video_file (
    id             SERIAL PRIMARY KEY,
    mapper_id      INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    path           TEXT NOT NULL UNIQUE,
    filesize       BIGINT NOT NULL DEFAULT 0,
    duration       INTEGER NOT NULL DEFAULT 0,
    frame_bitrate  INTEGER NOT NULL DEFAULT 0,
    video_bitrate  INTEGER NOT NULL DEFAULT 0,
    audio_bitrate  INTEGER NOT NULL DEFAULT 0,
    resolutionX    INTEGER NOT NULL DEFAULT 0,
    resolutionY    INTEGER NOT NULL DEFAULT 0,
    frequency      INTEGER NOT NULL DEFAULT 0,
    channel        INTEGER NOT NULL DEFAULT 0,
    video_codec    TEXT NOT NULL DEFAULT '',
    audio_codec    TEXT NOT NULL DEFAULT '',
    container_type TEXT NOT NULL DEFAULT '',
    video_profile  INTEGER NOT NULL DEFAULT 0,
    video_level    INTEGER NOT NULL DEFAULT 0,
    frame_rate_num INTEGER NOT NULL DEFAULT 0,
    frame_rate_den INTEGER NOT NULL DEFAULT 0,
    updated        INTEGER NOT NULL DEFAULT 0,
    create_date    TIMESTAMP NOT NULL DEFAULT current_timestamp,
    modify_date    TIMESTAMP NOT NULL DEFAULT current_timestamp
);
-- The path's unique index serves every look-up "WHERE path = '...'" (saving,
-- reading, deleting and renaming a file).
-- A video's files: the additional information's "SELECT * FROM video_file
-- WHERE mapper_id in (...)" and the check whether a mapper still has files.
CREATE INDEX IF NOT EXISTS video_file_mapper_id_idx ON video_file (mapper_id);
-- Folder look-ups "path like '/folder/%'" (VideoInfoDirDelete, renames).
CREATE INDEX IF NOT EXISTS video_file_path_prefix_idx ON video_file (path text_pattern_ops);

CREATE TABLE IF NOT EXISTS poster (
    id          SERIAL PRIMARY KEY,
    mapper_id   INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    lo_oid      OID,
    md5         TEXT NOT NULL DEFAULT '',
    modify_date TIMESTAMP NOT NULL DEFAULT current_timestamp
);
-- A video's poster: "WHERE mapper_id = N" of poster storage.
CREATE INDEX IF NOT EXISTS poster_mapper_id_idx ON poster (mapper_id);

CREATE TABLE IF NOT EXISTS summary (
    id          SERIAL PRIMARY KEY,
    mapper_id   INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    summary     TEXT NOT NULL DEFAULT '',
    modify_date TIMESTAMP NOT NULL DEFAULT current_timestamp
);
-- "summary.mapper_id=N" of saving and Edit, "mapper_id in (...)" of reading.
CREATE INDEX IF NOT EXISTS summary_mapper_id_idx ON summary (mapper_id);

CREATE TABLE IF NOT EXISTS plus_info (
    id          SERIAL PRIMARY KEY,
    mapper_id   INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    plus_info   TEXT NOT NULL DEFAULT '',
    modify_date TIMESTAMP NOT NULL DEFAULT current_timestamp
);
-- "plus_info.mapper_id=N" of saving and Edit, "mapper_id in (...)" of reading.
CREATE INDEX IF NOT EXISTS plus_info_mapper_id_idx ON plus_info (mapper_id);

-- The four name lists share their indexes' purposes:
--  - mapper_id: the additional information's "mapper_id in (...)", the
--    rewrite of a list "DELETE FROM actor WHERE mapper_id = N", the unknown
--    entry's "mapper_id NOT IN (SELECT mapper_id FROM actor)" and EXCEPT;
--  - the name: a listing by an entry's id, "actor='...'";
--  - the name's trigrams: Search's "actor ilike '%...%'" (FilterName and
--    GlobalSearch) and CategoryBrowse's keyword.
CREATE TABLE IF NOT EXISTS actor (
    id        SERIAL PRIMARY KEY,
    mapper_id INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    actor     TEXT NOT NULL DEFAULT ''
);
CREATE INDEX IF NOT EXISTS actor_mapper_id_idx ON actor (mapper_id);
CREATE INDEX IF NOT EXISTS actor_name_idx ON actor (actor);
CREATE INDEX IF NOT EXISTS actor_name_trgm_idx ON actor USING gin (actor gin_trgm_ops);

CREATE TABLE IF NOT EXISTS director (
    id        SERIAL PRIMARY KEY,
    mapper_id INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    director  TEXT NOT NULL DEFAULT ''
);
CREATE INDEX IF NOT EXISTS director_mapper_id_idx ON director (mapper_id);
CREATE INDEX IF NOT EXISTS director_name_idx ON director (director);
CREATE INDEX IF NOT EXISTS director_name_trgm_idx ON director USING gin (director gin_trgm_ops);

CREATE TABLE IF NOT EXISTS writer (
    id        SERIAL PRIMARY KEY,
    mapper_id INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    writer    TEXT NOT NULL DEFAULT ''
);
CREATE INDEX IF NOT EXISTS writer_mapper_id_idx ON writer (mapper_id);
CREATE INDEX IF NOT EXISTS writer_name_idx ON writer (writer);
CREATE INDEX IF NOT EXISTS writer_name_trgm_idx ON writer USING gin (writer gin_trgm_ops);

CREATE TABLE IF NOT EXISTS gnere (
    id        SERIAL PRIMARY KEY,
    mapper_id INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    gnere     TEXT NOT NULL DEFAULT ''
);
CREATE INDEX IF NOT EXISTS gnere_mapper_id_idx ON gnere (mapper_id);
CREATE INDEX IF NOT EXISTS gnere_name_idx ON gnere (gnere);
CREATE INDEX IF NOT EXISTS gnere_name_trgm_idx ON gnere USING gin (gnere gin_trgm_ops);

CREATE TABLE IF NOT EXISTS collection (
    id          SERIAL PRIMARY KEY,
    uid         INTEGER NOT NULL,
    title       TEXT NOT NULL DEFAULT '',
    create_date TIMESTAMP NOT NULL DEFAULT current_timestamp,
    modify_date TIMESTAMP NOT NULL DEFAULT current_timestamp
);
-- A user's collections, "uid=N".
CREATE INDEX IF NOT EXISTS collection_uid_idx ON collection (uid);

CREATE TABLE IF NOT EXISTS collection_map (
    id            SERIAL PRIMARY KEY,
    mapper_id     INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    collection_id INTEGER NOT NULL REFERENCES collection(id) ON DELETE CASCADE,
    UNIQUE (mapper_id, collection_id)
);
-- The unique pair serves "mapper_id=N and collection_id=M" and the additional
-- information's "mapper_id in (...)"; this one a collection's videos,
-- "collection_id=N".
CREATE INDEX IF NOT EXISTS collection_map_collection_id_idx ON collection_map (collection_id);
