// Options against a GObject property, an absl flag and a Tcl variable with two traces; command
// lines against Tcl.
#include "support/row.h"
#include "zut.h"

#include <absl/flags/flag.h>
#include <glib-object.h>
#include <tcl.h>

#include <string>

ABSL_FLAG(double, bench_level, 5.0, "a number");
ABSL_FLAG(std::string, bench_editor, "vi", "a text");

namespace {

// --- A GObject with one numeric property ---

struct Settings {
  GObject parent;
  double level;
};
struct SettingsClass {
  GObjectClass parent;
};
G_DEFINE_TYPE(Settings, settings, G_TYPE_OBJECT)

void getProperty(GObject *object, guint, GValue *value, GParamSpec *) {
  g_value_set_double(value, reinterpret_cast<Settings *>(object)->level);
}

void settings_class_init(SettingsClass *type) {
  auto *object = G_OBJECT_CLASS(type);
  object->get_property = getProperty;
  g_object_class_install_property(
      object, 1, g_param_spec_double("level", nullptr, nullptr, -1e9, 1e9, 5.0, G_PARAM_READABLE));
}

void settings_init(Settings *self) { self->level = 5.0; }

// --- Reading a number ---

void readByName(benchmark::State &state) {
  double value = 0;
  for (auto _ : state) {
    ZutOptionGetNum(ZutOptionLookup("socket_connect_timeout"), &value);
    benchmark::DoNotOptimize(value);
  }
}

void readProperty(benchmark::State &state) {
  auto *object = static_cast<GObject *>(g_object_new(settings_get_type(), nullptr));
  double value = 0;
  for (auto _ : state) {
    g_object_get(object, "level", &value, nullptr);
    benchmark::DoNotOptimize(value);
  }
  g_object_unref(object);
}

void readByHandle(benchmark::State &state) {
  ZutOption *option = ZutOptionLookup("socket_connect_timeout");
  double value = 0;
  for (auto _ : state) {
    ZutOptionGetNum(option, &value);
    benchmark::DoNotOptimize(value);
  }
}

void readTextByHandle(benchmark::State &state) {
  ZutOption *option = ZutOptionLookup("editor");
  ZutOptionSetStr(option, "vi");
  const char *value = nullptr;
  for (auto _ : state) {
    ZutOptionGetStr(option, &value);
    benchmark::DoNotOptimize(value);
  }
}

void readTextFlag(benchmark::State &state) {
  for (auto _ : state) {
    const std::string value = absl::GetFlag(FLAGS_bench_editor);
    benchmark::DoNotOptimize(value.data());
  }
}

void readFlag(benchmark::State &state) {
  for (auto _ : state) {
    double value = absl::GetFlag(FLAGS_bench_level);
    benchmark::DoNotOptimize(value);
  }
}

// --- Setting a text that is observed twice ---

constexpr const char *text = "a value of usual size";
int64_t seen = 0;

void Z_CALL observe(void *, void *, ZutWord argument) { seen += argument; }

void setObserved(benchmark::State &state) {
  ZutOption *option = ZutOptionCreate("bench_observed", Z_OPTION_STR);
  ZutOptionChangeCbCreate(option, observe, 1);
  ZutOptionChangeCbCreate(option, observe, 2);
  for (auto _ : state) ZutOptionSetStr(option, text);
  benchmark::DoNotOptimize(seen);
  ZutOptionDestroy(option);
}

char *observeTcl(ClientData argument, Tcl_Interp *, const char *, const char *, int) {
  seen += reinterpret_cast<int64_t>(argument);
  return nullptr;
}

Tcl_Interp *newTcl() {
  Tcl_FindExecutable(nullptr);
  return Tcl_CreateInterp();
}

void setObservedTcl(benchmark::State &state) {
  Tcl_Interp *tcl = newTcl();
  constexpr int flags = TCL_TRACE_WRITES | TCL_GLOBAL_ONLY;
  Tcl_SetVar2(tcl, "observed", nullptr, "", TCL_GLOBAL_ONLY);
  Tcl_TraceVar2(tcl, "observed", nullptr, flags, observeTcl, reinterpret_cast<ClientData>(1));
  Tcl_TraceVar2(tcl, "observed", nullptr, flags, observeTcl, reinterpret_cast<ClientData>(2));
  for (auto _ : state) Tcl_SetVar2(tcl, "observed", nullptr, text, TCL_GLOBAL_ONLY);
  benchmark::DoNotOptimize(seen);
  Tcl_DeleteInterp(tcl);
}

// --- Command lines, one at a time as a command file gives them ---

void setopt(benchmark::State &state) {
  ZutOption *option = ZutOptionCreate("bench_line", Z_OPTION_STR);
  for (auto _ : state) ZutCommandParseStr("setopt bench_line value\n");
  ZutOptionDestroy(option);
}

void setTcl(benchmark::State &state) {
  Tcl_Interp *tcl = newTcl();
  for (auto _ : state) Tcl_Eval(tcl, "set bench_line value\n");
  Tcl_DeleteInterp(tcl);
}

double taken = 0;

void Z_CALL take(ZutLexer *lexer) {
  ZutLexAcceptId(lexer);
  ZutLexAcceptSignedReal(lexer);
  taken += lexer->number_value;
}

void registered(benchmark::State &state) {
  ZutCommand *command = ZutCommandCreate("take", take);
  for (auto _ : state) ZutCommandParseStr("take name 42\n");
  benchmark::DoNotOptimize(taken);
  ZutCommandDestroy(command);
}

int takeTcl(ClientData, Tcl_Interp *tcl, int count, Tcl_Obj *const words[]) {
  double number = 0;
  if (count != 3 || Tcl_GetDoubleFromObj(tcl, words[2], &number) != TCL_OK) return TCL_ERROR;
  taken += number;
  return TCL_OK;
}

void registeredTcl(benchmark::State &state) {
  Tcl_Interp *tcl = newTcl();
  Tcl_CreateObjCommand(tcl, "take", takeTcl, nullptr, nullptr);
  for (auto _ : state) Tcl_Eval(tcl, "take name 42\n");
  benchmark::DoNotOptimize(taken);
  Tcl_DeleteInterp(tcl);
}

} // namespace

void addRows() {
  Row("option", "read by name").ours(readByName).peer("g_object_get", readProperty);
  Row("option", "read by handle").ours(readByHandle).peer("absl::GetFlag", readFlag);
  Row("option", "read text by handle").ours(readTextByHandle).peer("absl::GetFlag", readTextFlag);
  Row("option", "set with two observers").ours(setObserved).peer("Tcl_SetVar2", setObservedTcl);
  Row("commands", "setopt").ours(setopt).peer("Tcl_Eval", setTcl);
  Row("commands", "registered").ours(registered).peer("Tcl_Eval", registeredTcl);
}
