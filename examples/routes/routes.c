// routes: shortest routes in a graph that is read from a list of edges and may change while the
// program runs.
//
// In C, because a bad argument leaves a command's function by a long jump. A C function can lose
// only memory by that, and these allocate nothing before their last argument is read.
#include "zut.h"

#include <stdlib.h>
#include <string.h>

enum { EXIT_COMMAND = 1, EXIT_LIST = 2, EXIT_USAGE = 64 };
enum { NAME_SIZE = 64, LINE_SIZE = 1024 };
#define NO_ROUTE Z_GRAPH_INFINITE

static const char usage[] =
    "usage: routes [-c COMMANDS]... [FILE]\n"
    "Reads a list of edges, one \"from to weight\" a line; # begins a comment. Without FILE the\n"
    "list comes from the standard input and ends with it or with a line of a single dot. Then,\n"
    "from -c or at the prompt:\n"
    "  path A B                the shortest route from A to B\n"
    "  table A                 distance and first hop from A to every place\n"
    "  link A B N              add an edge of weight N\n"
    "  unlink A B              remove it\n"
    "  follow A                from now on tell what changes do to the routes from A\n"
    "  setopt weighted false   count every edge as 1\n"
    "and the library's own commands; help lists them.\n"
    "Exit codes: 0, 1 when a command failed, 2 for a list that cannot be read, 64 for bad usage.\n";

static ZutGraph *graph;
static ZutHashTable *vertices; // by the text of their names; the graph itself compares addresses
static ZutPtrAry *places;      // the same vertices in the order in which they were first named

// --- Places and edges ---

static ZutGraphVertex *place(int32_t index) { return (ZutGraphVertex *)places->items[index]; }

static ZutGraphVertex *find(const char *name) {
  return (ZutGraphVertex *)ZutHashLookup(vertices, (ZutWord)name);
}

static ZutGraphVertex *findOrAdd(const char *name) {
  ZutGraphVertex *vertex = find(name);
  if (vertex) return vertex;
  char *copy = NULL;
  vertex = ZutGraphVertexAdd(graph, ZutStringCopy(&copy, name));
  ZutHashInsert(vertices, (ZutWord)copy, (ZutWord)vertex);
  ZutPtrAryAppend(places, (ZutWord)vertex, NULL);
  return vertex;
}

// Result: what is wrong, null when nothing is.
static const char *addEdge(const char *from, const char *to, double weight) {
  if (weight < 1 || weight >= NO_ROUTE) return "the weight is not from 1 to 99998";
  ZutGraphVertex *source = findOrAdd(from);
  ZutGraphVertex *target = findOrAdd(to);
  if (ZutGraphEdgeAdd(graph, source, target, 0, (int32_t)weight)) return NULL;
  return "this edge is there already";
}

// --- The list ---

// Result as above.
static const char *takeLine(char *line) {
  line[strcspn(line, "#\r\n")] = '\0';
  const char *from = strtok(line, " \t");
  const char *to = strtok(NULL, " \t");
  const char *number = strtok(NULL, " \t");
  if (!from) return NULL;
  if (!number || strtok(NULL, " \t")) return "expected: from to weight";
  if (strlen(from) >= NAME_SIZE || strlen(to) >= NAME_SIZE) return "a name is too long";
  if (number[strspn(number, "0123456789")]) return "the weight is not a whole number";
  return addEdge(from, to, strtod(number, NULL));
}

// Reads one line without its end, terminated by a NUL and cut when it is too long. Result: its
// whole length, -1 at the end of the list.
static long readLine(FILE *stream, char *line) {
  int character = getc(stream);
  if (character == EOF) return -1;
  long length = 0;
  for (; character != '\n' && character != EOF; character = getc(stream), ++length)
    if (length < LINE_SIZE - 1) line[length] = (char)character;
  line[length < LINE_SIZE ? length : LINE_SIZE - 1] = '\0';
  return length;
}

// Result: why the line is no text, or null.
static const char *faultOf(const char *line, long length) {
  if (length >= LINE_SIZE) return "the line is too long";
  return memchr(line, '\0', (size_t)length) ? "the line holds a NUL" : NULL;
}

// Some editors begin a file with a mark of its encoding, which is no part of the first name.
static char *behindMark(char *line) { return line + (strncmp(line, "\xEF\xBB\xBF", 3) ? 0 : 3); }

static int endsList(const char *line) {
  return line[0] == '.' && line[1 + strspn(line + 1, "\r\n")] == '\0';
}

// Result: 0 when reading failed.
static int readList(FILE *stream, const char *name) {
  char line[LINE_SIZE] = "";
  long length;
  for (long number = 1; (length = readLine(stream, line)) >= 0; ++number) {
    char *text = number == 1 ? behindMark(line) : line;
    const char *complaint = faultOf(line, length);
    if (!complaint && stream == stdin && endsList(text)) return 1;
    if (!complaint) complaint = takeLine(text);
    if (complaint) fprintf(stderr, "%s:%ld: %s\n", name, number, complaint);
  }
  return !ferror(stream);
}

// --- Following changes ---

struct route {
  int32_t distance;
  ZutGraphVertex *hop;
};

static ZutGraphVertex *followed; // or null
static struct route *known;      // its routes by place, as last printed
static int32_t knownCount;

static void printRoute(const ZutGraphVertex *vertex) {
  if (vertex->distance >= NO_ROUTE) ZutOut("  %s: no route\n", vertex->name);
  else ZutOut("  %s: %ld by %s\n", vertex->name, (long)vertex->distance, vertex->first_hop->name);
}

// Computes the routes again and prints those that have changed.
static void tellRoutes(void) {
  if (!followed) return;
  ZutGraphSetShortPath(graph, followed);
  known = ZutRealloc(known, places->count * (int32_t)sizeof *known);
  for (; knownCount < places->count; ++knownCount)
    known[knownCount] = (struct route){NO_ROUTE, NULL};
  for (int32_t i = 0; i < places->count; ++i) {
    const ZutGraphVertex *vertex = place(i);
    if (vertex == followed) continue;
    if (vertex->distance == known[i].distance && vertex->first_hop == known[i].hop) continue;
    known[i] = (struct route){vertex->distance, vertex->first_hop};
    printRoute(vertex);
  }
}

static void Z_CALL graphChanged(void *owner, void *callData, ZutWord argument) {
  (void)owner, (void)argument;
  const ZutGraphChangeData *data = callData;
  if (!data->edge) return; // a place without edges changes no route
  ZutOut("%s %s > %s, weight %ld\n", data->added ? "added" : "removed", data->edge->from->name,
         data->edge->to->name, (long)data->edge->weight);
  tellRoutes();
}

static void Z_CALL weightedChanged(void *option, void *callData, ZutWord argument) {
  (void)option, (void)argument;
  const ZutOptionChangeData *data = callData;
  ZutGraphSetWeightedEdges(graph, *(const int32_t *)data->value);
  tellRoutes();
}

// --- Commands ---

static void takeName(ZutLexer *lexer, char *name) {
  ZutLexAcceptFileName(lexer); // takes what no identifier may be: 10, a-b, st.ives
  if (strlen(lexer->string_value.str) >= NAME_SIZE) ZutLexError(lexer, "The name is too long");
  strcpy(name, lexer->string_value.str);
}

static void fail(const char *format, const char *name) {
  ZutCommandFailed();
  ZutOut(format, name);
}

// The place that is named next. Null, and the command has failed, when there is none.
static ZutGraphVertex *takePlace(ZutLexer *lexer) {
  char name[NAME_SIZE];
  takeName(lexer, name);
  ZutGraphVertex *vertex = find(name);
  if (!vertex) fail("There is no place %s.\n", name);
  return vertex;
}

static void Z_CALL pathCommand(ZutLexer *lexer) {
  ZutGraphVertex *from = takePlace(lexer);
  ZutGraphVertex *to = takePlace(lexer);
  if (!from || !to) return;
  ZutGraphSetShortPath(graph, from);
  if (from != to && to->distance >= NO_ROUTE) {
    ZutOut("There is no route from %s to %s.\n", from->name, to->name);
    return;
  }
  ZutPtrAry *stops = ZutPtrAryCreate(16); // the last one first
  for (ZutGraphVertex *stop = to; stop != from; stop = stop->path_predecessor)
    ZutPtrAryAppend(stops, (ZutWord)stop, NULL);
  ZutOut("%s", from->name);
  for (int32_t i = stops->count; i-- > 0;)
    ZutOut(" > %s", ((const ZutGraphVertex *)stops->items[i])->name);
  ZutOut(": distance %ld\n", from == to ? 0L : (long)to->distance);
  ZutPtrAryDestroy(stops, NULL, 0);
}

static void Z_CALL tableCommand(ZutLexer *lexer) {
  ZutGraphVertex *from = takePlace(lexer);
  if (!from) return;
  ZutGraphSetShortPath(graph, from);
  ZutOut("%-16s %8s  %s\n", "to", "distance", "first hop");
  for (int32_t i = 0; i < places->count; ++i) {
    const ZutGraphVertex *to = place(i);
    if (to == from) continue;
    if (to->distance >= NO_ROUTE) ZutOut("%-16s %8s  -\n", to->name, "-");
    else ZutOut("%-16s %8ld  %s\n", to->name, (long)to->distance, to->first_hop->name);
  }
}

static void Z_CALL linkCommand(ZutLexer *lexer) {
  char from[NAME_SIZE], to[NAME_SIZE];
  takeName(lexer, from);
  takeName(lexer, to);
  ZutLexAcceptUnsignedInt(lexer);
  const char *complaint = addEdge(from, to, lexer->number_value);
  if (complaint) fail("Not linked: %s.\n", complaint);
}

static void Z_CALL unlinkCommand(ZutLexer *lexer) {
  ZutGraphVertex *from = takePlace(lexer);
  ZutGraphVertex *to = takePlace(lexer);
  if (!from || !to) return;
  ZutGraphEdge *edge = ZutGraphEdgeLookup(graph, from, to);
  if (edge) ZutGraphEdgeRemove(graph, edge);
  else fail("There is no edge to %s.\n", to->name);
}

static void Z_CALL followCommand(ZutLexer *lexer) {
  ZutGraphVertex *vertex = takePlace(lexer);
  if (!vertex) return;
  followed = vertex;
  knownCount = 0;
  tellRoutes();
}

// --- The program ---

static void addCommands(void) {
  ZutCommandCreate("path", pathCommand);
  ZutCommandCreate("table", tableCommand);
  ZutCommandCreate("link", linkCommand);
  ZutCommandCreate("unlink", unlinkCommand);
  ZutCommandCreate("follow", followCommand);
  ZutOption *weighted = ZutOptionCreate("weighted", Z_OPTION_BOOL);
  ZutOptionSetBool(weighted, 1);
  ZutOptionSetRequired(weighted, 1);
  ZutOptionChangeCbCreate(weighted, weightedChanged, 0);
  ZutOptionSetStr(ZutOptionLookup("prompt"), "routes> ");
}

static void Z_CALL cleanUp(void) {
  ZutCbDestroy(ZutGraphChangeCbLookup(graph, graphChanged, 0)); // the end is no change
  ZutGraphDestroy(graph);
  ZutPtrAryDestroy(places, NULL, 0);
  ZutHashDestroyFreeKey(vertices);
  ZutFree(known);
}

static void start(void) {
  const char *debugFile;
  ZutGetenv("VNDEBUGFILENAME", &debugFile);
  if (!debugFile) ZutPutenv("VNDEBUGFILENAME=stderr"); // none in the working directory
  ZutInit("routes");
  graph = ZutGraphCreate();
  vertices = ZutHashCreateStr(64);
  places = ZutPtrAryCreate(64);
  ZutAtExit(cleanUp);
  addCommands();
}

static int leaveWith(FILE *stream, int code) {
  fputs(usage, stream);
  return code;
}

int main(int argc, char **argv) {
  const char *file = NULL;
  int commands = 0;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--help") == 0) return leaveWith(stdout, 0);
    if (strcmp(argv[i], "-c") == 0 && i + 1 < argc) ++i, ++commands;
    else if (argv[i][0] != '-' && !file) file = argv[i];
    else return leaveWith(stderr, EXIT_USAGE);
  }
  start();
  const char *name = file ? file : "standard input";
  FILE *list = file ? fopen(file, "r") : stdin;
  if (!list || !readList(list, name)) {
    perror(name);
    ZutExit(EXIT_LIST);
  }
  if (file) fclose(list);
  ZutGraphChangeCbCreate(graph, graphChanged, 0); // not before: reading the list is no change
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "-c") == 0) ZutCommandParseTypedStr(argv[++i]);
  }
  if (!commands) ZutCommandMainLoop();
  ZutExit(ZutCommandGetFailures() ? EXIT_COMMAND : 0);
}
