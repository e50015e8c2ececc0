// The commands that read and set options.
//
// Parse functions run in frames that an error jumps over: nothing here has a destructor.
#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/text.h"
#include "config/command/builtins.h"
#include "config/command/command.h"
#include "config/command/help.h"
#include "config/command/parse.h"
#include "config/lex/lex.h"
#include "config/option/option.h"
#include "config/option/optvalue.h"
#include "core/utout/utout.h"
#include "trace/binding.h"

namespace {

// Which option a command sets, and the prefix of its name: that of a named table.
struct Target {
  ZutOption *option;
  const char *table;
  const char *slash;
};

// A verify function or a callback may destroy the option that a command still names.
struct OptionName {
  explicit OptionName(ZutOption *option) { utCopyCut(text, sizeof text, option->name); }
  char text[Z_LEX_ID_SIZE];
};
static_assert(std::is_trivially_destructible_v<OptionName>);

void reportRequired(int32_t type, const char *name) {
  if (type == Z_OPTION_ENUM || type == Z_OPTION_ENUM_LIST)
    utReport<Msg::unsetRequiredEnum>(Z_TRACE_LEVEL_INFO, name);
  else utReport<Msg::unsetRequired>(Z_TRACE_LEVEL_INFO, name);
}

// Reports why a value was refused, unless the function that refused it has (`reported`).
void reportRefusal(Err error, int32_t type, const char *name, bool reported) {
  if (error == Err::readOnly) utReport<Msg::setoptReadOnly>(Z_TRACE_LEVEL_INFO, name);
  else if (error == Err::required) reportRequired(type, name);
  else if (!reported) utReport<Msg::setoptRefused>(Z_TRACE_LEVEL_INFO, name);
}

// The members of named tables live as long as the process.
void printSet(const Target &target, const char *name) {
  if (!utCommandFeedbackOn()) return;
  const char *value = *target.table ? ZutOptionValToStr(target.option) : utOptionValueText(name);
  if (value)
    ZutCommandPrintFeedback("Option %s%s%s set to %s.\n", target.table, target.slash, name, value);
}

// Sets the option to the value in the rest of the command. May jump.
void setValue(const Target &target, ZutLexer *lexer) {
  const OptionName name(target.option);
  const int32_t type = target.option->type;
  const uint32_t reports = utReportsMade();
  utErrSet(Err::none);
  if (!ZutOptionParseValue(target.option, lexer)) {
    const Err error = utErrGet();
    const bool reported = utReportsMade() != reports;
    ZutCommandFailed();
    reportRefusal(error, type, name.text, reported);
  } else {
    printSet(target, name.text);
    if (!utLexAtEnd(*lexer))
      utCommandFail<Msg::setoptExtra>(Z_TRACE_LEVEL_INFO, name.text, lexer->text);
  }
  utLexSkipCommand(utLexer(lexer));
}

// The names of all options, each with its NUL, then an empty one. Copies that end with the parse:
// another thread may destroy options while their help is printed.
const char *sortedNames() {
  const ProcessGuard guard;
  int32_t count = 0;
  ZutOption **sorted = ZutOptionSort(&count);
  size_t size = 1;
  for (int32_t i = 0; i < count; ++i) size += std::strlen(sorted[i]->name) + 1;
  char *names = utCommandScratch(size);
  char *end = names;
  for (int32_t i = 0; i < count; ++i) {
    const size_t length = std::strlen(sorted[i]->name) + 1;
    std::memcpy(end, sorted[i]->name, length);
    end += length;
  }
  utCheck(end == names + size - 1);
  Z_FREE(sorted, "sorted_options");
  return names;
}

// May jump.
void failUnknown(const char *name, ZutLexer *lexer) {
  utCommandFail<Msg::setoptUnknown>(Z_TRACE_LEVEL_INFO, name);
  utLexSkipCommand(utLexer(lexer));
}

} // namespace

void Z_CALL utCommandHelpopt(ZutLexer *lexer) {
  if (!utLexAtEnd(*lexer)) {
    ZutLexAcceptId(lexer);
    if (ZutOption *option = utFindOption(lexer->id_value))
      utHelpPrint("options", OptionName(option).text, HelpForm::full);
    else utCommandFail<Msg::helpUnknownOption>(Z_TRACE_LEVEL_ERROR, lexer->id_value);
    return;
  }
  utReport<Msg::helpOptions>(Z_TRACE_LEVEL_INFO);
  for (const char *name = sortedNames(); *name; name += std::strlen(name) + 1)
    utHelpPrint("options", name, HelpForm::oneLine);
}

void Z_CALL utCommandSetopt(ZutLexer *lexer) {
  if (utLexAtEnd(*lexer)) {
    ZutOutInit(); // has options of its own
    ZutOptionDump(nullptr, ZutOut);
    return;
  }
  ZutLexAcceptId(lexer);
  ZutOption *option = utFindOption(lexer->id_value);
  if (!option) failUnknown(lexer->id_value, lexer);
  else if (utLexAtEnd(*lexer)) ZutOptionDump(lexer->id_value, ZutOut);
  else setValue({option, "", ""}, lexer);
}

void Z_CALL utCommandSetnopt(ZutLexer *lexer) {
  ZutOutInit(); // has options of its own, of which the table takes copies
  ZutLexAcceptId(lexer);
  char table[Z_LEX_ID_SIZE];
  utCopyCut(table, sizeof table, lexer->id_value);
  if (utLexAtEnd(*lexer)) {
    ZutOptionNamedDump(table, nullptr, ZutOut);
    return;
  }
  ZutLexAcceptId(lexer);
  ZutOption *option = ZutOptionNamedLookup(table, lexer->id_value);
  if (!option) failUnknown(lexer->id_value, lexer);
  else if (utLexAtEnd(*lexer)) ZutOptionNamedDump(table, lexer->id_value, ZutOut);
  else setValue({option, table, "/"}, lexer);
}

void Z_CALL utCommandUnsetopt(ZutLexer *lexer) {
  ZutLexAcceptId(lexer);
  ZutOption *option = utFindOption(lexer->id_value);
  if (!option) {
    utCommandFail<Msg::unsetUnknown>(Z_TRACE_LEVEL_INFO, lexer->id_value);
    return;
  }
  const OptionName name(option);
  const int32_t type = option->type;
  if (ZutOptionSetUnknown(option)) {
    ZutCommandPrintFeedback("Option %s unset\n", name.text);
    return;
  }
  const Err error = utErrGet();
  ZutCommandFailed();
  if (error == Err::required) reportRequired(type, name.text);
  else utReport<Msg::unsetFailed>(Z_TRACE_LEVEL_WARNING, static_cast<int32_t>(error));
}

void Z_CALL utCommandCreateopt(ZutLexer *lexer) {
  ZutLexAcceptId(lexer);
  char name[Z_LEX_ID_SIZE];
  utCopyCut(name, sizeof name, lexer->id_value);
  if (ZutOptionLookup(name)) utCommandFail<Msg::createoptExists>(Z_TRACE_LEVEL_INFO, name);
  else if (!ZutOptionCreateFromLexer(name, lexer))
    utCommandFail<Msg::createoptFailed>(Z_TRACE_LEVEL_INFO, name, lexer->text);
  else ZutCommandPrintFeedback("Option %s created.\n", name);
  utLexSkipCommand(utLexer(lexer));
}
