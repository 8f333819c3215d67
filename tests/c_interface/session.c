/* A program in C that uses the whole C interface: what any compiler of C must be able to do.

       session FOLDER

   FOLDER is an empty one. Prints what fails; the exit code tells whether something did. */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tessaron_c.h>

static int failures = 0;
static char path[4096];
static const char* folder;

static void check(int holds, const char* what, int line) {
  if (holds) return;
  ++failures;
  printf("line %d: %s (%s)\n", line, what, tsr_last_error());
}
#define CHECK(what) check(what, #what, __LINE__)

static const char* in_folder(const char* name) {
  snprintf(path, sizeof path, "%s/%s", folder, name);
  return path;
}

/* Whether the text has the part; frees the text. */
static int has(char* text, const char* part) {
  const int found = strstr(text, part) != NULL;
  if (!found) printf("no %s in %s\n", part, text);
  tsr_free(text);
  return found;
}

static void test_edits(void) {
  tsr_edit* edit = NULL;
  char* key = NULL;
  CHECK(tsr_edit_begin(in_folder("shelf.xml"), &edit) == TSR_OK);
  CHECK(tsr_edit_add(edit, "{\"Title\": \"Salt Roads\", \"ASIN\": \"S1\"}", 0, &key) == TSR_OK);
  CHECK(key && has(key, "S1"));
  CHECK(tsr_edit_add(edit, "{\"Title\": \"Gr\\u00f6\\u00dfe \xe6\x97\xa5\"}", 0, NULL) == TSR_OK);
  CHECK(tsr_edit_commit(edit, NULL) == TSR_OK);

  CHECK(tsr_edit_begin(in_folder("shelf.xml"), &edit) == TSR_OK);
  CHECK(tsr_edit_update(edit, "S1", "{\"Notes\": \"signed\"}") == TSR_OK);
  CHECK(tsr_edit_lend(edit, "S1", "Mira", "2099-12-24") == TSR_OK);
  CHECK(tsr_edit_commit(edit, "lend") == TSR_OK);

  CHECK(tsr_edit_begin(in_folder("shelf.xml"), &edit) == TSR_OK);
  CHECK(tsr_edit_lend(edit, "S1", "Ada", NULL) == TSR_OK);
  CHECK(tsr_edit_commit(edit, NULL) == TSR_REFUSED); /* the only copy is lent */

  CHECK(tsr_edit_begin(in_folder("shelf.xml"), &edit) == TSR_OK);
  CHECK(tsr_edit_return(edit, "S1", NULL) == TSR_OK);
  CHECK(tsr_edit_remove(edit, "S1") == TSR_OK);
  CHECK(tsr_edit_commit(edit, NULL) == TSR_OK);
  CHECK(tsr_undo(in_folder("shelf.xml"), 1) == TSR_OK);
  CHECK(tsr_edit_begin("nowhere", &edit) == TSR_OK);
  tsr_edit_drop(edit);
}

static void test_walk(void) {
  tsr_collection* collection = NULL;
  char* record = NULL;
  CHECK(tsr_collection_open(in_folder("shelf.xml"), &collection) == TSR_OK);
  CHECK(tsr_collection_query(collection, "status:lent due:2099-01-01..") == TSR_OK);
  CHECK(tsr_collection_next(collection, &record) == TSR_OK);
  CHECK(record && has(record, "\"target\": \"Mira\""));
  CHECK(tsr_collection_next(collection, &record) == TSR_END);
  tsr_collection_close(collection);
  CHECK(tsr_collection_open(in_folder("none.xml"), &collection) == TSR_UNREADABLE);
}

static void test_texts(void) {
  char* text = NULL;
  int order = 0;
  CHECK(tsr_title_sort_form("Le Petit Prince", "fr", &text) == TSR_OK);
  CHECK(text && has(text, "Petit Prince, Le"));
  CHECK(tsr_name_sort_form("Ludwig van Beethoven", "German", &text) == TSR_OK);
  CHECK(text && has(text, "Beethoven, Ludwig van"));
  CHECK(tsr_compare("Disc 9", "disc 10", &order) == TSR_OK && order < 0);
  CHECK(tsr_record_to_xml("{\"Title\": \"A & B\"}", &text) == TSR_OK);
  CHECK(text && has(text, "<Title>A &amp; B</Title>"));
}

static void test_media(void) {
  static const char* const names[] = {"books", "films"};
  static const double values[] = {3, 1};
  static const unsigned char key[16] = {1, 2, 3};
  char* text = NULL;
  unsigned char* image = NULL;
  size_t size = 0;
  tsr_cache* cache = NULL;
  CHECK(tsr_draw_chart(names, values, 2, 300, 240, in_folder("chart.png")) == TSR_OK);
  CHECK(tsr_describe_file(in_folder("chart.png"), &text) == TSR_OK);
  CHECK(text && has(text, "300 x 240"));
  CHECK(tsr_list_package(in_folder("chart.png"), &text) == TSR_DAMAGED);

  CHECK(tsr_cache_open(in_folder("images.db"), 0, &cache) == TSR_OK);
  CHECK(tsr_cache_put(cache, key, NULL, 7, "cover", (const unsigned char*)"image", 5) == TSR_OK);
  CHECK(tsr_cache_close(cache) == TSR_OK);
  CHECK(tsr_cache_open(in_folder("images.db"), 0, &cache) == TSR_OK);
  CHECK(tsr_cache_get(cache, key, NULL, 7, "COVER", &image, &size) == TSR_OK);
  CHECK(size == 5 && memcmp(image, "image", 5) == 0);
  tsr_free(image);
  CHECK(tsr_cache_close(cache) == TSR_OK);
}

int main(int argc, char** argv) {
  static const char* const kFiles[] = {"shelf.xml", "chart.png", "images.db"};
  size_t i;
  if (argc != 2) return 2;
  folder = argv[1];
  for (i = 0; i < sizeof kFiles / sizeof *kFiles; ++i) remove(in_folder(kFiles[i]));
  CHECK(strchr(tsr_version(), '.') != NULL);
  test_edits();
  test_walk();
  test_texts();
  test_media();
  return failures != 0;
}
