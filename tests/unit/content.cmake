# Unit tests of the content layer: dms_unit_test(NAME) per test file. They
# run on temporary database files and use the sqlite3 shell and xmllint as
# independent readers.
foreach(content_test_name
    content_record_test
    media_schema_test
    db_connector_test
    db_lookup_test
    db_reserve_test
    db_robustness_test
    listing_queries_test
    cds_tree_test
    content_engine_test
    temp_contents_test
    content_concurrency_test)
  dms_unit_test(${content_test_name})
  target_compile_definitions(${content_test_name} PRIVATE
    CONTENT_PICTURES_DIR="${PROJECT_SOURCE_DIR}/content/pictures")
endforeach()
# A second connection of its own holds a lock in the robustness test.
find_package(SQLite3 REQUIRED)
target_link_libraries(db_robustness_test PRIVATE SQLite::SQLite3)
# The prepared statements are tried on a raw connection of the test's own.
target_link_libraries(listing_queries_test PRIVATE SQLite::SQLite3)
# Allocation failures provoked at the C boundary.
target_sources(content_engine_test PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/unit/failing_allocations.cpp)
