#ifndef TESSARON_C_H
#define TESSARON_C_H

/*! \file
 *  TessaronBF for C, and for every language and compiler that can call C.
 *
 *  Texts are UTF-8 that ends with a NUL; bytes that are no UTF-8 count as Windows-1252. Records,
 *  descriptions of files and packages are JSON: a record as docs/collection.schema.json describes
 *  an item, a file as docs/scan.schema.json does. Paths are texts as well.
 *
 *  A function that can fail returns a #tsr_status, and on failure leaves what its last arguments
 *  point to unchanged. Null pointers are refused where nothing else is said. What a function hands
 *  out belongs to the caller and is freed by tsr_free(), a handle by the function of its type.
 *
 *  Any thread may call any function. A handle is for one thread at a time. Threads do not share the
 *  text of tsr_last_error(). */

#include <stddef.h>
#include <stdint.h>

#include "tessaron_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/*! How a call ended. The numbers stay the same in later versions, which may add some. */
typedef enum tsr_status {
  TSR_OK = 0,
  TSR_END = 1,              /*!< there are no more items; no error */
  TSR_INVALID_ARGUMENT = 2, /*!< a null pointer, a text that is no query, a field's wrong value */
  TSR_NOT_FOUND = 3,        /*!< no such item, image or edit */
  TSR_UNREADABLE = 4,       /*!< a file is missing or cannot be read */
  TSR_DAMAGED = 5,          /*!< a file is damaged, or is no file of that kind */
  TSR_UNWRITABLE = 6,       /*!< a file cannot be written; the old one is unchanged */
  TSR_REFUSED = 7, /*!< an edit would break something: the item is there already, is lent */
  TSR_OUT_OF_MEMORY = 8,
  TSR_INTERNAL = 9 /*!< none of these */
} tsr_status;

/*! The version of the library, such as "0.2.0". Valid for ever. */
TESSARON_API const char* tsr_version(void);

/*! Why the last call of this thread failed: one sentence in English, without a full stop. Valid
 *  until the thread's next call that fails. */
TESSARON_API const char* tsr_last_error(void);

/*! Frees what a function has handed out; null does nothing. */
TESSARON_API void tsr_free(void* memory);

/* Collections */

/*! A walk over the items of a collection. Takes as much memory as the largest item. */
typedef struct tsr_collection tsr_collection;

/*! Starts in front of the first item of the collection or response at `path`, in any encoding.
 *  Later changes of the file are not seen. Close it by tsr_collection_close(). */
TESSARON_API tsr_status tsr_collection_open(const char* path, tsr_collection** collection);
/*! Passes over the items that do not match from now on. `query` is as `tessaron list` takes it:
 *  words, and terms such as "due:..7d" or "-group:book"; an empty one matches all. */
TESSARON_API tsr_status tsr_collection_query(tsr_collection* collection, const char* query);
/*! Hands out the next item as a record. TSR_END after the last one; TSR_DAMAGED, with line and
 *  column in the error, where the text is damaged, after the items in front of that. */
TESSARON_API tsr_status tsr_collection_next(tsr_collection* collection, char** record);
/*! Ends the walk; null does nothing. */
TESSARON_API void tsr_collection_close(tsr_collection* collection);

/* Edits */

/*! Changes to a collection that are made at once, or not at all. */
typedef struct tsr_edit tsr_edit;

/*! Begins an edit of the collection at `path`, which is created by tsr_edit_commit() when it is
 *  missing. Nothing is read yet. End it by tsr_edit_commit() or tsr_edit_drop(). */
TESSARON_API tsr_status tsr_edit_begin(const char* path, tsr_edit** edit);
/*! Adds the item that `record` holds, of which "Title" must be there. Without an "ASIN" it gets a
 *  key that is made of its product number, or of its title, first person and group. TSR_REFUSED at
 *  the commit when the collection has the key, or the EAN, UPC or ISBN unless `allow_copy`. Hands
 *  out the key if `key` is not null. Each added item is compared with all others. */
TESSARON_API tsr_status tsr_edit_add(tsr_edit* edit, const char* record, int allow_copy,
                                     char** key);
/*! Gives the item with the ASIN `key` the values of `record`: those of missing members stay. What a
 *  record does not carry stays, too. */
TESSARON_API tsr_status tsr_edit_update(tsr_edit* edit, const char* key, const char* record);
/*! Removes the item with the ASIN `key`. */
TESSARON_API tsr_status tsr_edit_remove(tsr_edit* edit, const char* key);
/*! Lends a copy of the item to `who`; `until` is the day on which it is due ("2026-12-24"), or
 * null. TSR_REFUSED at the commit when no copy is there. */
TESSARON_API tsr_status tsr_edit_lend(tsr_edit* edit, const char* key, const char* who,
                                      const char* until);
/*! Ends the loan to `who`, or the only one for null, today. TSR_REFUSED at the commit when there is
 *  none. */
TESSARON_API tsr_status tsr_edit_return(tsr_edit* edit, const char* key, const char* who);
/*! Makes the changes in the order of the calls for each item, and frees the edit. The new file
 * takes the old one's place in one step; the history keeps the old items under the name `verb`
 * (null: "edit"), for tsr_undo(). TSR_NOT_FOUND when an item is missing: nothing changes then. */
TESSARON_API tsr_status tsr_edit_commit(tsr_edit* edit, const char* verb);
/*! Frees an edit without making it; null does nothing. */
TESSARON_API void tsr_edit_drop(tsr_edit* edit);
/*! Takes back the last `count` edits of the collection: all or none. TSR_NOT_FOUND when there are
 *  not so many, TSR_REFUSED when an item is no more as they left it. */
TESSARON_API tsr_status tsr_undo(const char* path, size_t count);

/* Records */

/*! Reads the items of a collection or response in `text` into an array of records. */
TESSARON_API tsr_status tsr_records_from_xml(const char* text, size_t size, char** records);
/*! Writes a record as the text of one item. */
TESSARON_API tsr_status tsr_record_to_xml(const char* record, char** text);

/* Order */

/*! "Le Petit Prince" becomes "Petit Prince, Le" by the rules of `language`, a code or an English or
 *  native name ("fr"). TSR_NOT_FOUND for a language that is not known. */
TESSARON_API tsr_status tsr_title_sort_form(const char* title, const char* language, char** form);
/*! "Ludwig van Beethoven" becomes "Beethoven, Ludwig van", likewise. */
TESSARON_API tsr_status tsr_name_sort_form(const char* name, const char* language, char** form);
/*! Compares as people sort: without regard to case, digits by their value. `order` becomes
 * negative, 0 or positive. */
TESSARON_API tsr_status tsr_compare(const char* left, const char* right, int* order);

/* Files, charts, caches, packages */

/*! Describes a file by its content. It is read in this process; `tessaron scan` does that in
 *  processes of its own, for files that nobody trusts. */
TESSARON_API tsr_status tsr_describe_file(const char* path, char** description);

/*! Draws a pie chart of `count` values with their names, at most 12 after the rest is joined, and
 *  puts it as a PNG file at `path`. `width` and `height` are in pixels, 1 to 16384. */
TESSARON_API tsr_status tsr_draw_chart(const char* const* names, const double* values, size_t count,
                                       int width, int height, const char* path);

/*! An open image cache. No other process can open it meanwhile. */
typedef struct tsr_cache tsr_cache;

/*! Opens the image cache at `path`, created when it is missing, which keeps the newest
 *  `max_images` (0: 200) when it is closed. */
TESSARON_API tsr_status tsr_cache_open(const char* path, uint32_t max_images, tsr_cache** cache);
/*! Hands out a copy of the oldest image with these keys. `key` and `second_key` have 16 bytes;
 *  `second_key` may be null, which counts as zeros, and `tag`, which counts as empty. */
TESSARON_API tsr_status tsr_cache_get(tsr_cache* cache, const unsigned char* key,
                                      const unsigned char* second_key, uint32_t variant,
                                      const char* tag, unsigned char** image, size_t* size);
/*! Stores an image of 1 byte to 4 GiB, also when there is one with these keys. Of `tag` the first
 * 31 UTF-16 units count. It is in the file once tsr_cache_close() has returned TSR_OK. */
TESSARON_API tsr_status tsr_cache_put(tsr_cache* cache, const unsigned char* key,
                                      const unsigned char* second_key, uint32_t variant,
                                      const char* tag, const unsigned char* image, size_t size);
/*! Writes the file and frees the handle in any case; null does nothing. TSR_UNWRITABLE when not all
 *  that was stored is in the file. */
TESSARON_API tsr_status tsr_cache_close(tsr_cache* cache);

/*! Lists a theme package: an object with "name", "author", "email", "url", "description",
 *  "identifier", "entries" (each with "id", "packedSize", "size" in bytes, "names") and "problems"
 *  (each with "entry", "name", "reason"). Nothing is unpacked. */
TESSARON_API tsr_status tsr_list_package(const char* path, char** listing);

#ifdef __cplusplus
}
#endif

#endif
