// The standard options: defaults, environment, checks, callbacks.
#include "support/child.h"
#include "support/errors.h"

namespace fs = std::filesystem;

namespace {

std::string valueOf(const char *name) {
  ZutOption *option = ZutOptionLookup(name);
  return option ? ZutOptionValToStr(option) : "(none)";
}

// Runs in a process whose environment is set, and which has stopped at a failure.
CHILD(values) {
  ZutInit("stdopts");
  ZutCommandSetStopAtFailure(1);
  ZutCommandFailed();
  for (const char *name : {"default_protocols", "_conn_init_timeout", "_socket_linger",
                           "_socket_linger_time", "_socket_tcp_keepalive", "_socket_tcp_nodelay",
                           "group_names", "monitor_ident", "verbose", "project", "unique_subject"})
    std::printf("%s %s\n", name, valueOf(name).c_str());
  std::exit(ZutCommandGetFailures());
}

// Required options have a value, time_format and trace_level excepted, and all values are ones
// that their own checks admit.
TEST(StandardOptions, DefaultsPassTheirOwnChecks) {
  for (const auto &[name, value] : Environment{{"time_format", "UNKNOWN"},
                                               {"trace_file", "\"stdout\""},
                                               {"enable_control_msgs", "echo, quit"},
                                               {"cache_lb_mode", "Z_IPC_LB_ROUND_ROBIN"},
                                               {"compression_args", "\"\""},
                                               {"_conn_write_scaling", "0.5"},
                                               {"srv_client_names_min_msgs", "FALSE"}})
    EXPECT_EQ(valueOf(name.c_str()), value) << name;
  int32_t count = 0;
  ZutOption **options = ZutOptionSort(&count);
  for (int32_t i = 0; i < count; ++i) {
    const std::string name = ZutOptionGetName(options[i]);
    int32_t known = 0, required = 0;
    ZutOptionGetKnown(options[i], &known);
    ZutOptionGetRequired(options[i], &required);
    const bool mayLack = name == "time_format" || name.find("trace_level") != std::string::npos;
    EXPECT_TRUE(known || !required || mayLack) << name;
    if (!known) continue;
    const std::string set = "setopt " + name + " " + ZutOptionValToStr(options[i]);
    ZutCommandParseStr(set.c_str());
    EXPECT_EQ(ZutCommandGetFailures(), 0) << set;
  }
  ZutFree(options);
  int32_t guarded = 0;
  ZutOptionGetProtected(ZutOptionLookup("proxy_password"), &guarded);
  EXPECT_EQ(guarded, 1);
}

TEST(StandardOptions, ChecksRefuseWithAMessage) {
  ZutOutInit();
  Capture capture;
  const struct {
    const char *name, *good, *bad, *message;
  } rows[] = {{"default_class_name", "pump_7", "7 pumps", "must be an identifier: <7 pumps>"},
              {"default_attr_name", "a", "", "must be an identifier: <>"},
              {"default_subject_prefix", "/plant", "plant", "must begin with a slash: <plant>"},
              {"default_subject_prefix", "/plant", "/p*t", "must not contain * or ...: </p*t>"},
              {"monitor_scope", "/a/...", "a/*", "must begin with a slash"},
              {"monitor_scope", "/*", "/a..b", "must contain * or ...: </a..b>"},
              {"unique_subject", "_me..", "_m...e", "must not contain"},
              {"real_number_format", "%8.3f", "%d", "Wrong conversion character <d>"}};
  for (const auto &row : rows) {
    ZutOption *option = ZutOptionLookup(row.name);
    EXPECT_EQ(ZutOptionSetStr(option, row.good), 1) << row.name;
    EXPECT_ERROR(7, ZutOptionSetStr(option, row.bad)) << row.name;
    EXPECT_NE(capture.take().find(row.message), std::string::npos) << row.message;
    EXPECT_EQ(valueOf(row.name), '"' + std::string(row.good) + '"');
  }
  EXPECT_EQ(ZutOptionSetUnknown(ZutOptionLookup("default_subject_prefix")), 1);
  EXPECT_ERROR(7, ZutOptionSetNum(ZutOptionLookup("default_msg_priority"), 32768.0));
  EXPECT_ERROR(4, ZutOptionSetNum(ZutOptionLookup("frame_interval"), -0.5));
  ZutOptionSetStr(ZutOptionLookup("real_number_format"), "%g");
}

TEST(StandardOptions, TimeFormatIsTheCurrentConverter) {
  ZutOutInit();
  Capture capture;
  ZutOption *option = ZutOptionLookup("time_format");
  EXPECT_EQ(ZutOptionSetEnum(option, "numeric"), 1);
  EXPECT_EQ(ZutOptionSetEnum(ZutOptionNamedLookup("side", "time_format"), "hms"), 1);
  EXPECT_STREQ(ZutTimeNumToStr(12.0), "12");
  EXPECT_EQ(ZutOptionSetEnum(option, "sundial"), 0);
  EXPECT_NE(capture.take().find("There is no time format named <sundial>"), std::string::npos);
  EXPECT_STREQ(ZutTimeNumToStr(12.0), "12");
  EXPECT_EQ(ZutOptionSetEnum(option, "hms"), 1);
}

TEST(StandardOptions, ChangesReachWhoDependsOnThem) {
  ZutOption *verbose = ZutOptionLookup("verbose");
  ZutOptionSetBool(verbose, 1);
  EXPECT_EQ(valueOf("trace_level"), "info");
  ZutCommandParseStr("setopt trace_level debug");
  ZutOptionSetBool(verbose, 1);
  EXPECT_EQ(valueOf("trace_level"), "debug") << "never lowered";
  ZutOptionSetBool(verbose, 0);
  ZutCommandParseStr("setopt trace_level info");

  ZutOption *file = ZutOptionLookup("auth_data_file");
  ZutOptionSetStr(file, "a.dat");
  EXPECT_EQ(valueOf("_auth_data_file"), "\"a.dat\"");
  ZutOptionDestroy(ZutOptionLookup("_auth_data_file"));
  EXPECT_EQ(ZutOptionSetStr(file, "b.dat"), 1);
  ZutOptionSetStr(ZutOptionCreate("_auth_data_file", Z_OPTION_STR), "c.dat");
  ZutOptionSetUnknown(file);
  EXPECT_EQ(valueOf("_auth_data_file"), "UNKNOWN");
}

TEST(StandardOptions, TheEnvironmentOverridesDefaults) {
  TempDir dir;
  fs::create_directories("data/standard");
  writeFile("data/standard/httpopts.cm",
            "setopt group_names \"a\", \"b\"\ncreateopt verbose string x");
  writeFile("data/standard/eoptions.cm", "setopt group_names \"c\"");
  const Environment plain = {{"VNHOME", (dir.path() / "none").string()},
                             {"VNDEBUGFILENAME", "stderr"},
                             {"VN_DEFAULT_PROTOCOLS", ""},
                             {"VN_FORCE_NODE_NAME", "host.domain.org"}};
  Result result = runChild("values", plain);
  EXPECT_EQ(result.out.substr(0, result.out.rfind('_')),
            "default_protocols tcp\n_conn_init_timeout 30\n_socket_linger TRUE\n"
            "_socket_linger_time 10\n_socket_tcp_keepalive UNKNOWN\n_socket_tcp_nodelay TRUE\n"
            "group_names \"vantrel\"\nmonitor_ident \"stdopts\"\nverbose FALSE\nproject vantrel\n"
            "unique_subject \"_host.domain.org");
  Environment set = plain;
  set[0].second = (dir.path() / "data").string();
  for (const auto &[name, value] :
       Environment{{"VN_DEFAULT_PROTOCOLS", "local, tcp; createopt project string x"},
                   {"VN_CONN_INIT_TIMEOUT", "2.5"},
                   {"VN_SOCKET_LINGER", "Unknown"},
                   {"VN_SOCKET_LINGER_TIME", "7"},
                   {"VN_SOCKET_TCP_KEEPALIVE", "1"},
                   {"VN_SOCKET_TCP_NODELAY", "0"},
                   {"VN_FORCE_SHORT_NODE_NAME", "1"}})
    set.emplace_back(name, value);
  result = runChild("values", set);
  EXPECT_EQ(result.out.substr(0, result.out.rfind('_')),
            "default_protocols local, tcp\n_conn_init_timeout 2.5\n_socket_linger UNKNOWN\n"
            "_socket_linger_time 7\n_socket_tcp_keepalive TRUE\n_socket_tcp_nodelay FALSE\n"
            "group_names \"c\"\nmonitor_ident \"stdopts\"\nverbose \"x\"\nproject "
            "vantrel\nunique_subject \"_host");
}

} // namespace
