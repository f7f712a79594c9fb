-- The schema of the video_metadata database.
--
-- Every video, TV show and video file owns one row of `mapper`; every other
-- table refers to it through `mapper_id`, and deleting the mapper row deletes
-- everything that refers to it. The genre table and its column are spelled
-- "gnere". Column names are unquoted, so PostgreSQL folds them to lower case
-- (resolutionx, islock).
--
-- The library never runs this file; the set-up scripts do, once, on a new
-- database.

CREATE TABLE mapper (
    id   SERIAL PRIMARY KEY,
    type TEXT NOT NULL
);

CREATE TABLE movie (
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
CREATE INDEX movie_mapper_id_idx ON movie (mapper_id);
CREATE INDEX movie_title_year_idx ON movie (UPPER(title), year);

CREATE TABLE tvshow (
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
CREATE INDEX tvshow_mapper_id_idx ON tvshow (mapper_id);
CREATE INDEX tvshow_title_year_idx ON tvshow (UPPER(title), year);

CREATE TABLE tvshow_episode (
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
CREATE INDEX tvshow_episode_mapper_id_idx ON tvshow_episode (mapper_id);
CREATE INDEX tvshow_episode_tvshow_id_idx ON tvshow_episode (tvshow_id, season, episode);

CREATE TABLE home_video (
    id          SERIAL PRIMARY KEY,
    mapper_id   INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    title       TEXT NOT NULL DEFAULT '',
    sort_title  TEXT NOT NULL DEFAULT '',
    record_time TIMESTAMP,
    isLock      BOOLEAN NOT NULL DEFAULT false,
    create_date TIMESTAMP NOT NULL DEFAULT current_timestamp,
    modify_date TIMESTAMP NOT NULL DEFAULT current_timestamp
);
CREATE INDEX home_video_mapper_id_idx ON home_video (mapper_id);

CREATE TABLE tv_record (
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
CREATE INDEX tv_record_mapper_id_idx ON tv_record (mapper_id);

CREATE TABLE video_file (
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
CREATE INDEX video_file_mapper_id_idx ON video_file (mapper_id);
-- Folder look-ups match a path prefix with LIKE.
CREATE INDEX video_file_path_prefix_idx ON video_file (path text_pattern_ops);

CREATE TABLE poster (
    id          SERIAL PRIMARY KEY,
    mapper_id   INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    lo_oid      OID,
    md5         TEXT NOT NULL DEFAULT '',
    modify_date TIMESTAMP NOT NULL DEFAULT current_timestamp
);
CREATE INDEX poster_mapper_id_idx ON poster (mapper_id);

CREATE TABLE summary (
    id          SERIAL PRIMARY KEY,
    mapper_id   INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    summary     TEXT NOT NULL DEFAULT '',
    modify_date TIMESTAMP NOT NULL DEFAULT current_timestamp
);
CREATE INDEX summary_mapper_id_idx ON summary (mapper_id);

CREATE TABLE plus_info (
    id          SERIAL PRIMARY KEY,
    mapper_id   INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    plus_info   TEXT NOT NULL DEFAULT '',
    modify_date TIMESTAMP NOT NULL DEFAULT current_timestamp
);
CREATE INDEX plus_info_mapper_id_idx ON plus_info (mapper_id);

CREATE TABLE actor (
    id        SERIAL PRIMARY KEY,
    mapper_id INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    actor     TEXT NOT NULL DEFAULT ''
);
CREATE INDEX actor_mapper_id_idx ON actor (mapper_id);
CREATE INDEX actor_name_idx ON actor (actor);

CREATE TABLE director (
    id        SERIAL PRIMARY KEY,
    mapper_id INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    director  TEXT NOT NULL DEFAULT ''
);
CREATE INDEX director_mapper_id_idx ON director (mapper_id);
CREATE INDEX director_name_idx ON director (director);

CREATE TABLE writer (
    id        SERIAL PRIMARY KEY,
    mapper_id INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    writer    TEXT NOT NULL DEFAULT ''
);
CREATE INDEX writer_mapper_id_idx ON writer (mapper_id);
CREATE INDEX writer_name_idx ON writer (writer);

CREATE TABLE gnere (
    id        SERIAL PRIMARY KEY,
    mapper_id INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    gnere     TEXT NOT NULL DEFAULT ''
);
CREATE INDEX gnere_mapper_id_idx ON gnere (mapper_id);
CREATE INDEX gnere_name_idx ON gnere (gnere);

CREATE TABLE collection (
    id          SERIAL PRIMARY KEY,
    uid         INTEGER NOT NULL,
    title       TEXT NOT NULL DEFAULT '',
    create_date TIMESTAMP NOT NULL DEFAULT current_timestamp,
    modify_date TIMESTAMP NOT NULL DEFAULT current_timestamp
);
CREATE INDEX collection_uid_idx ON collection (uid);

CREATE TABLE collection_map (
    id            SERIAL PRIMARY KEY,
    mapper_id     INTEGER NOT NULL REFERENCES mapper(id) ON DELETE CASCADE,
    collection_id INTEGER NOT NULL REFERENCES collection(id) ON DELETE CASCADE,
    UNIQUE (mapper_id, collection_id)
);
CREATE INDEX collection_map_collection_id_idx ON collection_map (collection_id);
