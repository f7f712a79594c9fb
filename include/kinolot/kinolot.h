// Kinolot: the video library of a home media server, kept in PostgreSQL.
// Including this header brings in the whole public interface.
#ifndef KINOLOT_KINOLOT_H_
#define KINOLOT_KINOLOT_H_

#include "kinolot/export.h"
#include "kinolot/file_download.h"
#include "kinolot/mapping_tables.h"
#include "kinolot/platform/vexo_db.h"
#include "kinolot/platform/vexo_file.h"
#include "kinolot/platform/vlib_c.h"
#include "kinolot/poster_store.h"
#include "kinolot/string_helpers.h"
#include "kinolot/video_db.h"
#include "kinolot/video_db_batch.h"
#include "kinolot/video_info.h"
#include "kinolot/video_info_store.h"
#include "kinolot/video_metadata_api.h"
#include "kinolot/video_metadata_db.h"
#include "kinolot/video_types.h"

#endif  // KINOLOT_KINOLOT_H_
