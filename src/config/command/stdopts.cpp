// The standard options: one row each, created in the order of the rows.
//
// All this happens once, under the process mutex, while the first operation on options waits for
// the table. Names and words stand in the rows themselves, so that the table needs no relocations.

#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/places.h"
#include "base/socketlayer.h"
#include "base/text.h"
#include "config/command/commandfile.h"
#include "config/command/parse.h"
#include "config/option/option.h"
#include "config/option/optvalue.h"
#include "file/file.h"
#include "platform/platform.h"

namespace {

// --- Checks: 0 refuses. The value is that of the option's type, null when it becomes unknown. ---

bool hasWildcard(const char *subject) {
  return std::strchr(subject, '*') || std::strstr(subject, "...");
}

template <Msg M>
int32_t refuse(ZutOption *option, const char *value) {
  utReport<M>(Z_TRACE_LEVEL_INFO, ZutOptionGetName(option), value);
  return utFail(Err::invalid);
}

int32_t Z_CALL verifyIdentifier(ZutOption *option, void *value, ZutWord) {
  const char *text = static_cast<char *>(value);
  if (!text || ZutIdIsValid(text)) return 1;
  return refuse<Msg::verifyIdentifier>(option, text);
}

int32_t Z_CALL verifySubjectPrefix(ZutOption *option, void *value, ZutWord) {
  const char *text = static_cast<char *>(value);
  if (!text) return 1;
  if (text[0] != '/') return refuse<Msg::verifyPrefixSlash>(option, text);
  return hasWildcard(text) ? refuse<Msg::verifyPrefixWild>(option, text) : 1;
}

int32_t Z_CALL verifyMonitorScope(ZutOption *option, void *value, ZutWord) {
  const char *text = static_cast<char *>(value);
  if (!text) return 1;
  if (text[0] != '/') return refuse<Msg::verifyScopeSlash>(option, text);
  return hasWildcard(text) ? 1 : refuse<Msg::verifyScopeWild>(option, text);
}

int32_t Z_CALL verifyNoWildcard(ZutOption *option, void *value, ZutWord) {
  const char *text = static_cast<char *>(value);
  return text && hasWildcard(text) ? refuse<Msg::verifyUniqueWild>(option, text) : 1;
}

int32_t Z_CALL verifyTimeFormat(ZutOption *option, void *value, ZutWord) {
  const char *text = static_cast<char *>(value);
  if (!text) return 1;
  ZutTimeCvt *converter = ZutTimeCvtLookup(text);
  if (!converter) {
    utReport<Msg::timeFormatUnknown>(Z_TRACE_LEVEL_WARNING, text);
    return utFail(Err::invalid);
  }
  return !utOptionIsGlobal(*option) || ZutTimeCvtSetCurrent(converter);
}

// --- Callbacks ---

void *newValue(void *callData) { return static_cast<ZutOptionChangeData *>(callData)->value; }

bool tracesInfo() {
  char word[16];
  int32_t level = 0;
  return utOptionText("trace_level", word, sizeof word) && ZutTraceLevelStrToVal(word, &level) &&
         level >= Z_TRACE_LEVEL_INFO;
}

void Z_CALL verboseChanged(void *, void *callData, ZutWord) {
  const auto *verbose = static_cast<int32_t *>(newValue(callData));
  if (verbose && *verbose && !tracesInfo()) utCommandParseOwn("setopt trace_level info");
}

// The copy is looked up by name: the option in the argument may have been destroyed.
void Z_CALL authDataFileChanged(void *, void *callData, ZutWord) {
  const char *file = static_cast<char *>(newValue(callData));
  ZutErrState errors;
  ZutErrNumSave(&errors);
  ZutOption *copy = ZutOptionLookup("_auth_data_file");
  if (file) ZutOptionSetStr(copy, file);
  else ZutOptionSetUnknown(copy);
  ZutErrNumRestore(&errors);
}

// --- What a row may ask for when its option has been made ---

void watchFeedback(ZutOption *option) {
  ZutOptionChangeCbCreate(option, ZutCbCommandSetFeedback, 0);
}

void watchVerbose(ZutOption *option) { ZutOptionChangeCbCreate(option, verboseChanged, 0); }

void watchAuthData(ZutOption *option) {
  const auto copy = reinterpret_cast<ZutWord>(ZutOptionLookup("_auth_data_file"));
  ZutOptionChangeCbCreate(option, authDataFileChanged, copy);
}

void setEditor(ZutOption *option) { ZutOptionSetStr(option, utPlatDefaultEditor); }

void setSocketDir(ZutOption *option) { ZutOptionSetStr(option, ZutGetSocketDir()); }

void setProcessType(ZutOption *option) { ZutOptionSetStr(option, ZutGetProcessType()); }

void setUniqueSubject(ZutOption *option) {
  char subject[300];
  ZutOptionSetStr(option, ZutOptionGetUniqueSubjectDefault(subject));
}

// The option files of the parts of the family that may be installed beside the library.
void runOptionFiles(ZutOption *) {
  char *home = utHomeDir();
  if (!home) return;
  char *directory = utFileNameDup(home, "standard", nullptr);
  for (const char *base : {"sslopts", "httpopts", "mcastopt", "cacheopt", "eoptions"})
    utCommandParseIfExists(directory, base, ".cm");
  Z_FREE(directory, "directory name");
  Z_FREE(home, "home directory");
}

// --- The table ---

enum class Kind : uint8_t {
  boolean,
  word,
  number,
  text,
  wordList,
  textList,
  traceLevel, // these three are made by the trace objects' constructors
  traceFile,
  traceFlags,
};
enum class Rule : uint8_t { plain, required, guarded };
enum class Check : uint8_t {
  none,
  nonNegative,
  int2,
  identifier,
  subjectPrefix,
  monitorScope,
  noWildcard,
  logFile,
  realFormat,
  timeFormat,
};
enum class Start : uint8_t { unset, given, byCommand };

struct Row {
  char name[32];
  Kind kind;
  Rule rule;
  Check check;
  Start start = Start::unset;
  char value[24] = "";
  char legal[56] = "";    // words
  char variable[24] = ""; // of the environment, which overrides the value
  void (*then)(ZutOption *option) = nullptr;
};

using enum Kind;
using enum Rule;
using enum Check;
using enum Start;

constexpr Row table[] = {
    {"_thread_create_check_varargs", boolean, required, none, given, "FALSE"},
    {"backup_name", text, plain, none, given, "~"},
    {"command_feedback", word, required, none, given, "interactive", "always never interactive", "",
     watchFeedback},
    {"dbms_driver", word, plain, none, given, "vnsdb"},
    {"dbms_driver_arg", text, plain, none},
    {"dbms_table_locking", boolean, plain, none},
    {"variable_table", text, plain, none},
    {"variable_filter", text, plain, none},
    {"default_primary_key", word, required, none, given, "slot", "variable slot"},
    {"default_class_name", text, required, identifier, given, "class"},
    {"default_attr_name", text, required, identifier, given, "attr"},
    {"trace_level", traceLevel, plain, none},
    {"trace_file", traceFile, plain, none, given, "stdout"},
    {"trace_flags", traceFlags, plain, none},
    {"trace_file_size", number, required, nonNegative, given, "0"},
    {"subjects", textList, plain, none},
    {"default_msg_priority", number, required, int2, given, "0"},
    {"default_protocols", wordList, plain, none, byCommand, "tcp", "", "VN_DEFAULT_PROTOCOLS"},
    {"default_subject_prefix", text, plain, subjectPrefix},
    {"editor", text, required, none, unset, "", "", "", setEditor},
    {"enable_control_msgs", wordList, plain, none, byCommand, "echo, quit"},
    {"frame_interval", number, required, nonNegative, given, "0"},
    {"ipc_gmd_directory", text, required, none, unset, "", "", "", setSocketDir},
    {"proxy_host", text, plain, none},
    {"proxy_port", text, plain, none},
    {"proxy_username", text, guarded, none},
    {"proxy_password", text, guarded, none},
    {"_proxy_connect_timeout", number, required, nonNegative, given, "5"},
    {"ipc_gmd_type", word, required, none, given, "default", "default memory"},
    {"ipc_gmd_auto_ack", boolean, required, none, given, "TRUE"},
    {"ipc_gmd_auto_ack_policy", word, required, none, given, "first_destroy",
     "first_destroy last_destroy"},
    {"_conn_write_buf_initial", number, required, none, given, "8192"},
    {"_conn_write_buf_max", number, required, none, given, "100000"},
    {"_conn_write_freelist_max", number, required, none, given, "10"},
    {"_conn_write_scaling", number, required, none, given, "0.5"},
    {"lm_names", textList, required, none, byCommand, "_node"},
    {"lm_start_delay", number, required, none, given, "1"},
    {"lm_start_max_tries", number, required, none, given, "1"},
    {"lm_start_timeout", number, required, nonNegative, given, "30"},
    {"log_in_msgs", text, plain, logFile},
    {"log_in_data", text, plain, logFile},
    {"log_in_internal", text, plain, logFile},
    {"log_in_status", text, plain, logFile},
    {"log_out_msgs", text, plain, logFile},
    {"log_out_data", text, plain, logFile},
    {"log_out_internal", text, plain, logFile},
    {"log_out_status", text, plain, logFile},
    {"monitor_scope", text, required, monitorScope, given, "/*"},
    {"monitor_ident", text, required, none, unset, "", "", "", setProcessType},
    {"monitor_level", word, required, none, given, "standard", "none standard all"},
    {"playback_check_count", number, plain, none, given, "3"},
    {"project", word, required, none, given, "vantrel"},
    {"prompt", text, plain, none},
    {"real_number_format", text, required, realFormat, given, "%g"},
    {"server_auto_connect", boolean, required, none, given, "TRUE"},
    {"server_auto_flush_size", number, required, nonNegative, given, "8192"},
    {"server_delivery_timeout", number, required, nonNegative, given, "30"},
    {"server_disconnect_mode", word, required, none, given, "gmd_failure",
     "gmd_failure warm gmd_success"},
    {"sender_get_reply", boolean, required, none, given, "FALSE"},
    {"server_gmd_file_name", word, plain, none},
    {"server_gmd_dir_name", text, plain, none},
    {"server_keep_alive_timeout", number, required, nonNegative, given, "15"},
    {"cache_group_names", textList, required, none, given, "/cache_group"},
    {"cache_request_subject", text, required, none, given, "/cache"},
    {"cache_request_timeout", number, required, none, given, "10"},
    {"cache_lb_mode", word, plain, none, given, "Z_IPC_LB_ROUND_ROBIN",
     "Z_IPC_LB_ROUND_ROBIN Z_IPC_LB_SORTED Z_IPC_LB_WEIGHTED"},
    {"server_msg_send", boolean, required, none, given, "TRUE"},
    {"server_names", textList, required, none, byCommand, "_node"},
    {"_sna_trace", textList, plain, none},
    {"_sna_trace_file", text, plain, none},
    {"sna_server_node", text, plain, none, given, "_node"},
    {"sna_cpic_lib", text, required, none, given, "wcpic32.dll"},
    {"_max_dispatch_loop_timeout", number, required, nonNegative, given, "1"},
    {"_server_init_delay", number, required, nonNegative, given, "2"},
    {"_server_dispatch_timeout", number, required, nonNegative, given, "0"},
    {"server_read_timeout", number, required, nonNegative, given, "30"},
    {"server_start_delay", number, required, none, given, "1"},
    {"server_start_max_tries", number, required, none, given, "1"},
    {"server_start_timeout", number, required, nonNegative, given, "30"},
    {"server_write_timeout", number, required, nonNegative, given, "30"},
    {"socket_connect_timeout", number, required, nonNegative, given, "5"},
    {"time_format", word, required, timeFormat},
    {"udp_broadcast_timeout", number, required, nonNegative, given, "5"},
    {"unique_subject", text, required, noWildcard, unset, "", "", "", setUniqueSubject},
    {"_conn_init_timeout", number, required, nonNegative, given, "30", "", "VN_CONN_INIT_TIMEOUT"},
    {"_conn_socket_buffer_size", number, required, nonNegative, given, "49152"},
    {"_lm_connect_timeout", number, required, nonNegative, given, "30"},
    {"_winsock_close_timeout", number, required, nonNegative, given, "5"},
    {"_winsock_connect_max_tries", number, required, nonNegative, given, "50"},
    {"_lm_socket_buffer_size", number, required, nonNegative, given, "1024"},
    {"_server_connect_timeout", number, required, nonNegative, given, "30"},
    {"_socket_buffer_size", number, required, nonNegative, given, "0"},
    {"_socket_linger", boolean, plain, none, given, "TRUE", "", "VN_SOCKET_LINGER"},
    {"_socket_linger_time", number, plain, none, given, "10", "", "VN_SOCKET_LINGER_TIME"},
    {"_socket_listen_backlog", number, required, nonNegative, given, "100"},
    {"_socket_tcp_keepalive", boolean, plain, none, unset, "", "", "VN_SOCKET_TCP_KEEPALIVE"},
    {"_socket_tcp_nodelay", boolean, plain, none, given, "TRUE", "", "VN_SOCKET_TCP_NODELAY"},
    {"_socket_reuseaddr", boolean, plain, none, given, "FALSE"},
    {"_conn_read_size_init", number, required, nonNegative, given, "8192"},
    {"_msg_pool_max_size", number, required, nonNegative, given, "10"},
    {"_msg_pool_max_msg_size", number, required, nonNegative, given, "10000"},
    {"server_max_reconnect_delay", number, required, none, given, "30"},
    {"_max_session_loop_timeout", number, required, none, given, "-1"},
    {"_novell_lac", boolean, required, none, given, "FALSE"},
    {"_sod_publish_timeout", number, required, none, given, "900"},
    {"group_names", textList, required, none, byCommand, "vantrel", "", "", runOptionFiles},
    {"verbose", boolean, required, none, given, "FALSE", "", "", watchVerbose},
    {"_auth_data_file", text, plain, none},
    {"auth_data_file", text, plain, none, unset, "", "", "", watchAuthData},
    {"Compression", boolean, required, none, given, "FALSE"},
    {"Compression_Name", text, required, none, given, "zlib"},
    {"Compression_Args", text, plain, none, given, ""},
    {"Compression_Stats", boolean, required, none, given, "FALSE"},
    {"Compression_Size", number, required, none, given, "8192"},
    {"_subject_cb_cache_timeout", number, required, nonNegative, given, "600"},
    {"_subject_cb_cache_size", number, required, nonNegative, given, "1000"},
    {"persistent_msg_ack_interval", number, plain, none, given, "1"},
    {"_buffer_resize_factor", number, required, nonNegative, given, "1"},
    {"server_async_subscribe", boolean, required, none, given, "TRUE"},
};

// --- Making them ---

ZutOption *create(const Row &row) {
  switch (row.kind) {
  case Kind::boolean: return ZutOptionCreate(row.name, Z_OPTION_BOOL);
  case Kind::word: return ZutOptionCreate(row.name, Z_OPTION_ENUM);
  case Kind::number: return ZutOptionCreate(row.name, Z_OPTION_NUM);
  case Kind::text: return ZutOptionCreate(row.name, Z_OPTION_STR);
  case Kind::wordList: return ZutOptionCreate(row.name, Z_OPTION_ENUM_LIST);
  case Kind::textList: return ZutOptionCreate(row.name, Z_OPTION_STR_LIST);
  case Kind::traceLevel: return ZutTraceLevelOptionCreate(row.name);
  case Kind::traceFile: return ZutTraceFileOptionCreate(row.name);
  case Kind::traceFlags: return ZutTraceFlagsOptionCreate(row.name);
  }
  return nullptr;
}

void addLegalWords(ZutOption *option, std::string_view words) {
  while (!words.empty()) {
    const size_t length = std::min(words.find(' '), words.size());
    char word[sizeof Row::legal];
    utCheck(length > 0 && length < sizeof word);
    utCopyCut(word, sizeof word, words.substr(0, length));
    ZutOptionLegValAdd(option, word);
    words.remove_prefix(std::min(length + 1, words.size()));
  }
}

void setGiven(const Row &row, ZutOption *option) {
  char text[sizeof row.value];
  utCopyCut(text, sizeof text, row.value);
  const ZutStrList list = {nullptr, text};
  switch (row.kind) {
  case Kind::boolean: ZutOptionSetBool(option, utSame(text, "TRUE")); break;
  case Kind::word: ZutOptionSetEnum(option, text); break;
  case Kind::number: ZutOptionSetNum(option, utParseReal(text)); break;
  case Kind::wordList: ZutOptionSetEnumList(option, &list); break;
  case Kind::textList: ZutOptionSetStrList(option, &list); break;
  default: ZutOptionSetStr(option, text); break;
  }
}

// Runs "setopt NAME VALUE".
void setByCommand(const char *name, const char *value) {
  const size_t size = sizeof "setopt  " + std::strlen(name) + std::strlen(value);
  char *line = utNewArray<char>(static_cast<int64_t>(size), "command");
  std::snprintf(line, size, "setopt %s %s", name, value);
  utCommandParseOwn(line);
  Z_FREE(line, "command");
}

// A value, never a command line: what sets the environment may have fewer rights than the process.
// An empty variable counts as one that is not set.
void parseFromEnvironment(const char *name, ZutOption *option, const char *value) {
  if (*value && !utOptionParseText(*option, value))
    utReport<Msg::setoptRefused>(Z_TRACE_LEVEL_INFO, name);
}

void setFromEnvironment(const Row &row, ZutOption *option) {
  char *value = utEnvDup(row.variable);
  if (!value) return;
  if (row.kind == Kind::wordList) parseFromEnvironment(row.name, option, value);
  else if (row.kind == Kind::number) ZutOptionSetNum(option, utParseReal(value));
  else if (utSame(row.name, "_socket_linger") && utSameWord(value, "unknown"))
    ZutOptionSetUnknown(option);
  else ZutOptionSetBool(option, utParseInt(value));
  Z_FREE(value, "environment value");
}

void setCheck(const Row &row, ZutOption *option) {
  const auto set = [option](ZutOptionVerifyFunc function, ZutWord argument = 0) {
    ZutOptionSetVerifyFunc(option, function, argument);
  };
  switch (row.check) {
  case Check::none: break;
  case Check::nonNegative: return set(ZutOptionVerifyNonNeg);
  case Check::int2: return set(ZutOptionVerifyInt2);
  case Check::identifier: return set(verifyIdentifier);
  case Check::subjectPrefix: return set(verifySubjectPrefix);
  case Check::monitorScope: return set(verifyMonitorScope);
  case Check::noWildcard: return set(verifyNoWildcard);
  case Check::logFile: return set(ZutOptionVerifyLogFile, reinterpret_cast<ZutWord>(&row.name));
  case Check::realFormat: return set(ZutOptionRealNumberFormatVf);
  case Check::timeFormat: return set(verifyTimeFormat);
  }
}

void make(const Row &row) {
  utCheck(row.start != Start::unset || !row.value[0]);
  ZutOption *option = create(row);
  if (!option) return; // an option file has made it
  if (row.rule == Rule::required) ZutOptionSetRequired(option, 1);
  if (row.rule == Rule::guarded) ZutOptionSetProtected(option, 1);
  setCheck(row, option);
  addLegalWords(option, row.legal);
  if (row.start == Start::given) setGiven(row, option);
  if (row.start == Start::byCommand) setByCommand(row.name, row.value);
  if (row.variable[0]) setFromEnvironment(row, option);
  if (row.then) row.then(option);
}

} // namespace

void utStdOptionsCreate() {
  for (const Row &row : table) make(row);
  for (const char *name : {"srv_client_names_min_msgs", "srv_subj_names_min_msgs"}) {
    if (ZutOption *option = ZutOptionCreate(name, Z_OPTION_BOOL)) ZutOptionSetBool(option, 0);
  }
}

extern "C" char *Z_CALL ZutOptionGetUniqueSubjectDefault(char *buffer) {
  if (!buffer) return utFailNull(Err::nullPointer);
  constexpr size_t size = 300;
  char node[256];
  ZutGetNodeName(node);
  const auto process = static_cast<long>(utPlatProcessId());
  char *dot = std::strchr(node, '.');
  if (dot && utEnvIsSet("VN_FORCE_SHORT_NODE_NAME")) {
    *dot = '\0';
    std::snprintf(buffer, size, "_%s_%lx", node, static_cast<unsigned long>(process));
  } else {
    std::snprintf(buffer, size, "_%s_%ld", node, process);
  }
  return buffer;
}
