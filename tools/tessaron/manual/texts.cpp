// The parts of the manual that do not follow from the command line.

#include <algorithm>
#include <array>

#include "manual/pages.h"

namespace tessaron::tool {
namespace {

struct Examples {
  std::string_view verb;
  std::string_view text;
};

constexpr auto kExamples = std::to_array<Examples>({
    {"tessaron", R"(A first session: choose the file, add an item by hand, take over what a shop or
another program has, find something, lend it, see what is due:

  tessaron use shelf.xml
  tessaron add --title 'The Cartographer of Rain' --author 'Ines Vale' --group Book
  tessaron import response.xml goodreads.csv
  tessaron list author:vale year:1990..
  tessaron lend rain --to Mira --until +14d
  tessaron due
)"},
    {"use", R"(Keep two collections apart:

  tessaron use ~/shelf.xml
  TESSARON_COLLECTION=~/films.xml tessaron list
)"},
    {"import", R"(See what a table of another program would bring, then take it over:

  tessaron import --dry-run goodreads.csv
  tessaron import goodreads.csv

A table whose columns nobody knows:

  tessaron import --map title=Titel --map author=Autor --map custom=Regal books.csv
)"},
    {"add", R"(A book, whose key is made of its number, and a record with two artists:

  tessaron add --title 'The Cartographer of Rain' --isbn 0-306-40615-2 --group Book
  tessaron add --title 'Low Tide' --artist 'A. Finch' --artist 'B. Lund' --group Music
)"},
    {"set", R"(Notes and a field of your own for one item, a favorite among several:

  tessaron set rain --notes 'signed' --field shelf=A3
  tessaron set --query 'author:vale rating:4..' --status favorite
)"},
    {"edit", R"(Change an item in another editor than the usual one:

  EDITOR='nano -w' tessaron edit rain
)"},
    {"remove", R"(See what would go, remove it, take that back:

  tessaron remove --query 'group:software year:..1995' --dry-run
  tessaron remove --query 'group:software year:..1995'
  tessaron undo
)"},
    {"list",
     R"(What was added in the last three months, the latest first, as a spreadsheet reads it:

  tessaron list added:-3m.. --sort -added --columns title,authors,added --csv -o new.csv

A line for each item, for another program:

  tessaron list group:dvd --format '{asin}\t{title}'
)"},
    {"show", R"(Everything about an item, and the same for a program:

  tessaron show 0306406152
  tessaron show 0306406152 --json | jq .authors
)"},
    {"serve", R"(Open the collection in your browser; let others in your network read it:

  tessaron serve --open
  tessaron serve --read-only --listen 192.168.1.10 --port 8443 --name shelf.home \
    --certificate cert.pem --key key.pem --password-file password
)"},
    {"stats", R"(What the books cost by author, and the shares as a picture:

  tessaron stats --by author --value price group:book
  tessaron stats --by group --png -o groups.png
)"},
    {"chart", R"(A picture of any numbers:

  printf 'Books\t12\t12\nFilms\t5\t5\n' | tessaron chart - --png -o shares.png
)"},
    {"export", R"(A page for the browser, and a file that import takes back:

  tessaron export --html -o shelf.html
  tessaron export --json -o shelf.json
)"},
    {"cart", R"text(Open the purchase page of a stored response:

  xdg-open "$(tessaron cart response.xml)"
)text"},
    {"lend", R"(Lend by the bar codes that a scanner types, one a line:

  tessaron lend - --to Mira --until +14d
)"},
    {"borrow", R"text(A book of a friend's, entered and noted:

  tessaron borrow "$(tessaron add --title 'Salt Roads' --group Book)" --from Bo --until +1m
)text"},
    {"return", R"(One of two copies comes back, yesterday:

  tessaron return rain --from Mira --on 2026-11-21
)"},
    {"loans", R"(All that Mira has ever had:

  tessaron loans --all Mira
)"},
    {"due", R"(Due this week, and a calendar to subscribe to:

  tessaron due --within 7
  tessaron due --ics -o ~/public/due.ics
)"},
    {"log", R"(The edits as a table for programs:

  tessaron log --json
)"},
    {"undo", R"(Take back the last two edits, and think better of it:

  tessaron undo 2
  tessaron undo --redo
)"},
    {"merge", R"(Two people have edited copies of a collection:

  tessaron merge --dry-run theirs.xml
  tessaron merge theirs.xml --newer
)"},
    {"duplicates", R"(Look first, then unite:

  tessaron duplicates
  tessaron duplicates --merge
)"},
    {"recover", R"(Save what is whole, look at the report, use the new file:

  tessaron recover damaged.xml -o shelf.xml
  tessaron use shelf.xml
)"},
    {"sortform", R"(How a Dutch library files a painter, and why:

  echo 'Vincent van Gogh' | tessaron sortform --language nl --explain
)"},
    {"sort", R"(Sort as a German phone book does:

  tessaron sort --locale de-u-co-phonebk names.txt
)"},
    {"scan", R"(What is in a folder of films, for another program, with small pictures:

  tessaron scan -r ~/films --detect video --json -o films.json --thumbnails thumbs

Which items of the collection are in a folder of books, and link them:

  tessaron scan -r ~/books --match
  tessaron scan -r ~/books --match --link --min-score 90
)"},
    {"link", R"(Link the tracks of a disc, and a book by its ISBN:

  tessaron link 'salt roads' ~/music/salt-roads
  tessaron link 0306406152 ~/books/rain.epub
)"},
    {"links", R"(Which files are not there any more:

  tessaron links --missing
)"},
    {"relink", R"(A disk was put in order; see first what would be found:

  tessaron relink --dry-run /media/films
  tessaron relink /media/films
)"},
    {"codec", R"(The names of a format tag and of a FourCC:

  tessaron codec 0x55 XVID
)"},
    {"covers",
     R"(Get the covers of all books, give one item a picture of yours, see which have none:

  tessaron covers fetch group:book
  tessaron covers attach rain photo.jpg
  tessaron covers list --missing
)"},
    {"cache", R"(Store a picture, get it back:

  tessaron cache put covers.cache cover.jpg --key 00112233445566778899aabbccddeeff
  tessaron cache get covers.cache --key 00112233445566778899aabbccddeeff -o cover.jpg
)"},
    {"settings", R"(See all of them, change one, change it back:

  tessaron settings list
  tessaron settings set CollationOption 2
  tessaron settings reset CollationOption
)"},
    {"theme", R"(Make a package of a folder and choose it:

  tessaron theme pack ~/.local/share/tessaron/Data/mine.theme mine
  tessaron theme select mine.theme
)"},
    {"help", R"(How to search, and all pages for man(1) to find below a folder of $MANPATH:

  tessaron help query
  tessaron help --pages ~/.local/share/man
)"},
});

}  // namespace

std::string_view examplesOf(std::string_view verb) {
  const auto found = std::ranges::find(kExamples, verb, &Examples::verb);
  return found == kExamples.end() ? std::string_view() : found->text;
}

const std::string_view kDescription =
    R"(tessaron keeps a catalogue of books, music, films, games and software in one XML file, the
collection. It takes over the responses of a product web service and the exports of other programs,
lists and searches, tells who has what and what is due, merges collections and takes back any edit.

Every edit replaces the file in one step and changes only what it names. What an edit does not name,
elements of other programs and comments too, stays as it is. A damaged collection is refused with the
place of the damage and never overwritten; recover saves what is whole in it.

Results go to standard output, or into the file that -o names; messages and progress go to standard
error. A FILE may be - for standard input where it is only read.
)";

const std::string_view kEnvironment =
    R"(TESSARON_COLLECTION :: The collection's file, if -c names none.

TESSARON_SETTINGS :: The file of the settings, instead of $XDG_CONFIG_HOME/tessaron/settings.db.

TESSARON_HOME :: The folder with "Data", instead of $XDG_DATA_HOME/tessaron.

XDG_CONFIG_HOME, XDG_DATA_HOME, XDG_STATE_HOME :: The user's folders; without them ~/.config,
~/.local/share and ~/.local/state.

XDG_RUNTIME_DIR, TMPDIR :: Locks and temporary files.

VISUAL, EDITOR :: The editor that edit opens; vi without them.

PAGER :: Shows pages of the manual where man(1) is missing.

NO_COLOR :: No colors, unless --color asks for them.

LC_ALL, LC_COLLATE, LANG :: The language that lists are sorted by.
)";

const std::string_view kFiles =
    R"($XDG_CONFIG_HOME/tessaron/settings.db :: The settings.

$XDG_STATE_HOME/tessaron/ :: The last 50 edits of each collection, at most 64 MiB, for log and undo.

$XDG_DATA_HOME/tessaron/Data/ :: Themes and their unpacked pictures.
)";

const std::string_view kExitStatus =
    R"(0 :: Done.

1 :: Nothing was found, or the request cannot be carried out.

2 :: The command line is wrong.

65 :: The data is damaged or of another kind.

66 :: An input is missing or cannot be read.

73, 74 :: An output cannot be created; writing failed.
)";

const std::string_view kQueryText =
    R"(A query selects items. Its terms are separated by blanks; an item must match all of them.

  word             titles, people, labels, tracks, notes, custom fields or ASIN contain it
  "two words"      the same, with what is in the quotation marks as it stands
  field:word       the field contains it
  field=text       the field, or one of its parts, is the text
  field=           the field is empty
  has:field        the field is not empty
  missing:file     files are linked to the item, and none of them can be opened
  field:LO..HI     a date, number or price from LO to HI, or only LO.. or ..HI
  -term            not
  term,term        or; a part without a field is for the field before it

Case and accents do not count. The shell takes quotation marks and other signs away; put such a
query into single ones:

  tessaron list tolkien -group:dvd
  tessaron list 'author:"le guin",lem' year:1960..1979
  tessaron due status:lent due:..7d
  tessaron list added:-3m.. price:..10 note= --sort -added
  tessaron stats --by author 'group:book rating:4..'
  tessaron list has:file -missing:file

Dates are YYYY-MM-DD, YYYY-MM or YYYY; today, yesterday and tomorrow; 7d, 2w, 3m and 1y from today,
-7d before it. Days are counted in UTC, and a date without a day is its first one. Amounts are
compared without regard to their currency, unless the query names one: price:..$10.
)";

const std::string_view kQueryShellText =
    R"(A word that begins with a hyphen is a term, unless the verb has an option of its first letter
(-c, -o, -q, -h) and it names no field; put such words behind --.
)";

const std::string_view kCollectionText =
    R"(A collection is an XML document. Its root element is PriceTracker, with one element Items, which
has an Item for each item. A response of the product web service has the same structure with another
root element; Details below the root are items of the older dialect. Both are read wherever a
collection is.

Documents in UTF-8, UTF-16 and the encodings that an XML declaration may name are read; the first edit
converts a collection to UTF-8. White space around values does not count. Elements and attributes
that are not listed here, comments and processing instructions stay as they are when an item is
edited. An item has at most 64 MiB.

Dates that the program writes are numbers: the days of MS-DOS dates, bits 9 to 15 the year since 1980,
5 to 8 the month, 0 to 4 the day. Dates of products are texts as the shop gives them.
)";

const std::string_view kCollectionSample =
    R"(  <?xml version="1.0" encoding="UTF-8"?>
  <PriceTracker>
    <Items>
      <Item status="0">
        <ASIN>item-99w9wzdbdesk</ASIN>
        <StatusTarget>Mira</StatusTarget>
        <DateAdded>23926</DateAdded>
        <StatusEndDate>23927</StatusEndDate>
        <ItemAttributes>
          <Author>Vale, Ines</Author>
          <ISBN>0306406152</ISBN>
          <ProductGroup>Book</ProductGroup>
          <Title>Cartographer of Rain, The</Title>
        </ItemAttributes>
        <CustomFields>
          <CustomField name="shelf" value="A3"/>
        </CustomFields>
      </Item>
    </Items>
  </PriceTracker>
)";

}  // namespace tessaron::tool
