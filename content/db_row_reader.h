// Turning rows of the media tables (read with "select *") into records.
// Column positions are those of the schema (media_schema.cpp). A row whose
// cells are NULL or hold text where numbers belong gives empty fields and
// zeros, never a failure.
#ifndef DMS_CONTENT_DB_ROW_READER_H
#define DMS_CONTENT_DB_ROW_READER_H

class ContentsEnumeratorArgument;
class SqliteTable;

// A new record from row `row` of `table`, whose column count must be that of
// the kind's table (1 image 24, 2 audio 18, 3 video 31); null otherwise or
// when memory runs out.
ContentsEnumeratorArgument* recordFromRow(unsigned int kind, const SqliteTable& table, int row);

// The column count of the kind's table, or -1.
int columnsOfKind(unsigned int kind);

// Cell readers: 0 for null or text that is not a number; out-of-range values
// are clamped rather than left to undefined behaviour.
int cellInt(const char* cell);
float cellFloat(const char* cell);

#endif  // DMS_CONTENT_DB_ROW_READER_H
