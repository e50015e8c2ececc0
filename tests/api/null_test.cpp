// Null pointers: each operation is called once for every argument that it checks, with null there
// and valid arguments otherwise. Operations and arguments that the header leaves unchecked, and
// those where null has a meaning, are not in the table.
#include "support/child.h"
#include "support/errors.h"

#include <sstream>
#include <tuple>

namespace {

void ignore() {}
void handle(void *, void *, ZutWord) {}
void parse(ZutLexer *) {}
void *createState(const char *) { return ZutMalloc(1); }
int32_t work(void *, ZutBuf *, ZutBuf *, int32_t) { return 1; }
int32_t statistics(void *, ZutCompressorStats *) { return 1; }

ZutCompressor *compressor() {
  ZutCompressorInit("nulls", createState, work, work, statistics, nullptr, ZutFree);
  return ZutCompressorCreate("nulls", "");
}

// One object of every kind that has a handle or a public record, made once.
auto &objects() {
  static auto made = [] {
    static ZutSafeString text;
    static ZutFHeapNode *node = ZutFHeapNodeCreate(&text);
    writeFile("nulls.cat", "ORL-WL-00001-I text\n");
    ZutGraph *graph = ZutGraphCreate();
    ZutGraphVertex *a = ZutGraphVertexAdd(graph, "a");
    ZutGraphEdge *edge = ZutGraphEdgeAdd(graph, a, ZutGraphVertexAdd(graph, "b"), 0, 1);
    ZutCbType *type = ZutCbTypeCreate(1, "nulls");
    ZutCbList *list = ZutCbListCreate(type, nullptr);
    ZutQuitCbCreate(handle, 0);
    ZutTimeChangeCbCreate(handle, 0);
    return std::tuple(
        ZutHashCreateInt(8), ZutLobeDeclare(2, 4), type, list, ZutCbListCbCreate(list, handle, 0),
        ZutLexCreate(Z_LEX_OPT_STRING, "a b c", Z_LEX_OPT_END),
        ZutOptionCreate("nulls", Z_OPTION_STR), ZutCommandCreate("nulls", parse),
        ZutCatCreate("nulls.cat"), ZutCatFileCreate("nulls.cat"), ZutTimeCvtLookup("hms"),
        ZutMutexCreateFast(0), ZutCondCreate(), ZutSpinlockCreate(0), ZutRwMutexCreate(0, 1),
        ZutPathCreate(), ZutOpenDir("."), ZutTraceCreate("nulls", "stdout", 1, nullptr),
        ZutFHeapCreate(Z_FHEAP_INT), node, graph, a, edge, ZutPropertiesCreate(), compressor(),
        ZutPtrAryCreate(4), ZutBufCreate(64), ZutSafeStringCreate(&text), std::tmpfile());
  }();
  return made;
}

template <class Type, class Tuple>
constexpr bool holds = false;
template <class Type, class... Held>
constexpr bool holds<Type, std::tuple<Held...>> = (std::is_same_v<Type, Held> || ...);

// A valid argument of this type: an object, a text, a function, room for a result, the number 1.
template <class Type>
Type valid() {
  if constexpr (std::is_pointer_v<Type>) {
    alignas(std::max_align_t) static char room[1024];
    using Pointed = std::remove_pointer_t<Type>;
    using Handle = std::remove_const_t<Pointed> *;
    using Objects = std::remove_reference_t<decltype(objects())>;
    if constexpr (holds<Handle, Objects>) return std::get<Handle>(objects());
    else if constexpr (std::is_same_v<Type, const char *>) return "x";
    else if constexpr (std::is_function_v<Pointed>) return reinterpret_cast<Type>(ignore);
    else return reinterpret_cast<Type>(room);
  } else {
    return Type(1);
  }
}

template <class Type>
Type argument(bool null) {
  if constexpr (std::is_pointer_v<Type>) {
    if (null) return nullptr;
  }
  return valid<Type>();
}

// What a call gives; 0 where it gives nothing.
template <class Call>
auto resultOf(Call call) {
  if constexpr (std::is_void_v<decltype(call())>) return call(), 0;
  else return call();
}

template <class... Arguments, class Call, size_t... Index>
void each(int32_t number, const std::string &positions, const std::string &name, Call operation,
          std::index_sequence<Index...>) {
  for (const char position : positions) {
    const size_t null = position - '0';
    const auto call = [&] { return operation(argument<Arguments>(Index == null)...); };
    EXPECT_TRUE(failsWith(number, [&] { return resultOf(call); })) << name << ", argument " << null;
  }
}

template <class Result, class... Arguments>
void nulls(int32_t number, const char *positions, const std::string &name,
           Result(Z_CALL *operation)(Arguments...)) {
  each<Arguments...>(number, positions, name, operation, std::index_sequence_for<Arguments...>());
}

template <class Result, class... Arguments>
void nulls(int32_t number, const char *positions, const std::string &name,
           Result(Z_CALL *operation)(Arguments..., ...)) {
  const auto ended = [operation](Arguments... arguments) { return operation(arguments..., 0); };
  each<Arguments...>(number, positions, name, ended, std::index_sequence_for<Arguments...>());
}

template <class... Operations>
void all(int32_t number, const char *positions, const char *names, Operations... operations) {
  objects();
  std::istringstream rest(names);
  std::string name;
  ((std::getline(rest >> std::ws, name, ','), nulls(number, positions, name, operations)), ...);
}

// The error number, the arguments that are checked, counted from 0, and the operations.
#define NULLS(number, positions, ...) all(number, positions, #__VA_ARGS__, __VA_ARGS__)

// For ZutTraceVa.
int32_t traceVa(struct ZutTrace *trace, int32_t level, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int32_t result = ZutTraceVa(trace, level, format, arguments);
  va_end(arguments);
  return result;
}

} // namespace

TEST(Nulls, Process) {
  NULLS(3, "0", ZutGetUserName, ZutGetNodeName, ZutGetIdentStr, ZutSetIdentStr,
        ZutGetFatalErrorFile, ZutSetFatalErrorFile, ZutAtExit, ZutPutenv, ZutGetSupportNotice,
        ZutLibraryLoad, ZutDSMMObjectCreate, ZutDSMMObjectDestroy, ZutIdIsValid, ZutStringCopy);
  NULLS(3, "01", ZutGetenv, ZutLibrarySymbolLookup);
  NULLS(3, "12", ZutDSMMCreate);
  NULLS(3, "012", ZutWinVersionInfo);
}

TEST(Nulls, Errors) {
  NULLS(3, "0", ZutErrNumSave, ZutErrNumRestore, ZutErrNumSaveTsd, ZutPerrorGetEnable, ZutPerror,
        ZutSetOutFlushFunc, ZutDebugOpen, ZutDebugRename, ZutDumpGetName);
  NULLS(3, "1", ZutErrStrCreate, ZutProcInfo);
  NULLS(3, "2", ZutErrParamSet);
  NULLS(3, "01", ZutErrNumRestoreTsd);
}

TEST(Nulls, Tables) {
  NULLS(3, "0", ZutHashSetReferenceCounted, ZutHashLookup, ZutHashLookupInt, ZutHashLookupBucket,
        ZutHashGetFirstBucket, ZutHashDeleteBucket, ZutHashDelete, ZutLobeGetSize,
        ZutPropertiesReset, ZutPropertiesDestroy);
  NULLS(3, "1", ZutLobeFindValue, ZutLobeDelete);
  NULLS(3, "01", ZutHashTraverse, ZutLobeTraverse, ZutPropertiesGet, ZutPropertiesGetCount,
        ZutPropertiesTraverse, ZutPropertiesCopy, ZutPropertiesSet, ZutPropertiesGetDefault);
  NULLS(3, "12", ZutLobeGet, ZutLobeSet, ZutLobeCheckSet);
}

TEST(Nulls, Callbacks) {
  NULLS(3, "0", ZutCbTypeLookup, ZutCbTypeTraverse, ZutCbTypeSetGlobFlag, ZutCbTypeSetLocalFlag,
        ZutCbListDestroy, ZutCbListIsActive, ZutCbListSetStartThresh, ZutCbListSetCurrentThresh,
        ZutCbDestroy, ZutCbSetArgument, ZutCbSetPriority, ZutQuitCbCreate, ZutQuitCbLookup,
        ZutCbListCreate, ZutCbSetChangeFunction);
  NULLS(3, "1", ZutCbTypeNumObjClear);
  NULLS(3, "2", ZutCbTypeNumCbLookup, ZutCbTypeNumCbDestroy, ZutCbTypeNumCbCall);
  NULLS(3, "01", ZutCbTypeGetGlobFlag, ZutCbTypeGetLocalFlag, ZutCbTypeGetName, ZutCbTypeGetNum,
        ZutCbTypeCbListCreate, ZutCbCreateGlobal, ZutCbObjClear, ZutCbPrintType, ZutCbListTraverse,
        ZutCbListCbCreate, ZutCbListInsertCb, ZutCbListCbLookup, ZutCbListRemoveCb,
        ZutCbListGetOwner, ZutCbListGetType, ZutCbListGetStartThresh, ZutCbListGetCurrentThresh,
        ZutCbPrintList, ZutCbSetFunction, ZutCbGetFunction, ZutCbGetArgument, ZutCbGetPriority,
        ZutCbGetList, ZutCbGetOwner, ZutCbGetCbType, ZutCbPrint);
  NULLS(3, "02", ZutCbTypeGetCbList, ZutCbTypeCbCreate, ZutCbTypeCbLookup, ZutCbTypeCall,
        ZutCbListCall);
  NULLS(3, "013", ZutCbMergeCall);
}

TEST(Nulls, Containers) {
  NULLS(3, "0", ZutPtrAryDestroy, ZutPtrAryClear, ZutPtrAryAppend, ZutPtrAryRemoveItemAtIndex,
        ZutPtrAryReplaceItemAtIndex, ZutBufReset, ZutBufRewind, ZutPtrAryInsertItemAtIndex,
        ZutPtrAryInsertBefore, ZutPtrAryInsertAfter, ZutPtrAryRemove, ZutPtrArySwapItems,
        ZutPtrAryItemExists, ZutBufCreateStatic, ZutBufDestroy, ZutBufGrow, ZutBufCloneRange,
        ZutBufDeleteRange, ZutBufSetSize, ZutFHeapDestroy, ZutFHeapNodeCreate, ZutFHeapNodeDestroy,
        ZutFHeapNodeVaGet, ZutFHeapNodeVaSet, ZutFHeapTop, ZutFHeapDeleteMin, ZutFHeapSize,
        ZutGraphDestroy, ZutGraphSetWeightedEdges, ZutGraphEdgeGetFirst);
  NULLS(3, "01", ZutPtrAryAppendAll, ZutPtrArySort, ZutPtrAryChangeCbCreate,
        ZutPtrAryChangeCbLookup, ZutBufAppendBuf, ZutBufAppendRange, ZutFHeapInsert,
        ZutFHeapDeleteNode, ZutFHeapDecreaseKey, ZutFHeapUpdateKey, ZutFHeapMigrate,
        ZutFHeapTraverse, ZutGraphGetWeightedEdges, ZutGraphVertexAdd, ZutGraphVertexRemove,
        ZutGraphVertexLookup, ZutGraphEdgeRemove, ZutGraphEdgeUndirectedRemove,
        ZutGraphSetShortPath, ZutGraphGetFirstHopVertex, ZutGraphChangeCbCreate,
        ZutGraphChangeCbLookup, ZutGraphDump);
  NULLS(3, "02", ZutPtrAryRemoveAll, ZutPtrAryGetItemAtIndex, ZutPtrAryGetItemIndex,
        ZutFHeapNodeGet, ZutFHeapNodeSet);
  NULLS(3, "012", ZutGraphEdgeAdd, ZutGraphEdgeUndirectedAdd, ZutGraphEdgeLookup);
}

TEST(Nulls, Lexer) {
  NULLS(3, "0", ZutLexDestroy, ZutLexAccept, ZutLexAcceptId, ZutLexAcceptPattern, ZutLexAcceptBool,
        ZutLexAcceptSignedReal, ZutLexAcceptSignedInt, ZutLexAcceptUnsignedInt,
        ZutLexAcceptFileName, ZutLexAcceptSlot, ZutLexAcceptSlotOrAlias, ZutLexAcceptGuidStr,
        ZutLexSkipToEoln, ZutLexGobbleWhitespace, ZutLexGetCurrentPositionInFile,
        ZutLexAddReservedWord, ZutLexPrintReservedWords, ZutLexSetUserErrorFunc);
  NULLS(3, "1", ZutLexTokenToString, ZutLexTokenCbCreate, ZutLexTokenCbLookup);
  NULLS(3, "01", ZutLexError);
}

TEST(Nulls, Options) {
  NULLS(3, "0", ZutOptionCreate, ZutOptionDestroy, ZutOptionLookup, ZutOptionSort,
        ZutOptionTraverse, ZutOptionGetName, ZutOptionSetBool, ZutOptionSetNum, ZutOptionSetUnknown,
        ZutOptionSetRequired, ZutOptionSetReadOnly, ZutOptionSetProtected, ZutOptionGetValue,
        ZutOptionUnset, ZutOptionGetNumValue, ZutOptionSetNumValue, ZutOptionValToStr,
        ZutGetNamedOptionTable, ZutOptionGetUniqueSubjectDefault, ZutOptionSetVerifyFunc,
        ZutOptionRealNumberFormatVf);
  NULLS(3, "1", ZutOptionChangeCbCreate, ZutOptionChangeCbLookup, ZutOptionDump, ZutRealToStrCopy);
  NULLS(3, "01", ZutOptionGetBool, ZutOptionGetEnum, ZutOptionGetNum, ZutOptionGetStr,
        ZutOptionGetEnumList, ZutOptionGetStrList, ZutOptionSetEnum, ZutOptionSetStr,
        ZutOptionSetEnumList, ZutOptionSetStrList, ZutOptionGetKnown, ZutOptionGetRequired,
        ZutOptionGetReadOnly, ZutOptionGetProtected, ZutOptionSet, ZutOptionParseValue,
        ZutOptionCreateFromLexer, ZutOptionLegValAdd, ZutOptionLegValTraverse,
        ZutOptionNamedLookup);
  NULLS(3, "02", ZutOptionNamedDump);
}

TEST(Nulls, Commands) {
  NULLS(3, "0", ZutCommandLookup, ZutCommandDestroy, ZutCommandSetHidden, ZutCommandHelpPrint,
        ZutCommandParseStr, ZutCommandParseStrInternal, ZutCommandParseTypedStr,
        ZutCommandParseTypedStrInternal, ZutCommandParseFile, ZutCommandRecordString,
        ZutCommandGetYesOrNo, ZutCommandPrintFeedback);
  NULLS(3, "01", ZutCommandCreate, ZutCommandSetParseFunc, ZutCommandGetPosition);
  NULLS(3, "02", ZutCommandParseStd, ZutCommandParseStd2, ZutCommandParseStdInternal);
}

TEST(Nulls, CatalogsAndTraces) {
  NULLS(3, "0", ZutCatAddref, ZutCatRelease, ZutCatDestroy, ZutCatFlagSet, ZutCatFlagClear,
        ZutCatFileCreate, ZutCatFileDestroy, ZutCatFileLoad, ZutTraceRelease, ZutTraceDestroy,
        ZutTraceCat, ZutTraceLevelOptionCreate, ZutTraceFileOptionCreate, ZutTraceFlagsOptionCreate,
        ZutTraceLevelDefaultOptionCreate, ZutTraceFileDefaultOptionCreate,
        ZutTraceFlagsDefaultOptionCreate, ZutTraceLevelDefaultOptionLookup,
        ZutTraceFileDefaultOptionLookup, ZutTraceFlagsDefaultOptionLookup,
        ZutTraceLevelDefaultOptionDestroy, ZutTraceFileDefaultOptionDestroy,
        ZutTraceFlagsDefaultOptionDestroy, ZutCatFilenameSet, ZutTraceCreate,
        ZutTraceCreateWithCatalog, ZutTraceFileSet, ZutTrace, traceVa);
  NULLS(3, "1", ZutCatSeverityStrToVal, ZutTraceLevelValToStr, ZutTraceMapSeverityToTraceLevel);
  NULLS(3, "01", ZutCatFilenameGet, ZutCatFilenameOptionBind, ZutCatFilenameOptionUnbind,
        ZutCatFlagsOptionBind, ZutCatFlagsOptionUnbind, ZutTraceLevelStrToVal,
        ZutTraceLevelOptionBind, ZutTraceFileOptionBind, ZutTraceFlagsOptionBind,
        ZutTraceLevelOptionUnbind, ZutTraceFileOptionUnbind, ZutTraceFlagsOptionUnbind);
  NULLS(3, "02", ZutCatLookup, ZutCatGetStr);
  NULLS(3, "012", ZutCatGetDisplayStr);
}

TEST(Nulls, Formats) {
  NULLS(3, "0", ZutSwapTwoBytes, ZutSwapFourBytes, ZutSwapEightBytes, ZutSwapSixteenBytes,
        ZutSwapReal4IeeeToDecF, ZutSwapReal4DecFToIeee, ZutSwapReal4IeeeToIbm370,
        ZutSwapReal4Ibm370ToIeee, ZutSwapReal4DecFToIbm370, ZutSwapReal4Ibm370ToDecF,
        ZutSwapReal8IeeeToDecD, ZutSwapReal8IeeeToDecG, ZutSwapReal8DecDToIeee,
        ZutSwapReal8DecDToDecG, ZutSwapReal8DecGToIeee, ZutSwapReal8DecGToDecD,
        ZutSwapReal8IeeeToIbm370, ZutSwapReal8Ibm370ToIeee, ZutSwapReal8DecDToIbm370,
        ZutSwapReal8Ibm370ToDecD, ZutSwapReal8DecGToIbm370, ZutSwapReal8Ibm370ToDecG, ZutStrLenByte,
        ZutTextGetSize);
  NULLS(3, "1", ZutIntFormatToStr, ZutRealFormatToStr);
  NULLS(3, "01", ZutConvertUcs2ToUtf8, ZutConvertUtf8ToUcs2, ZutStrCpy);
}

TEST(Nulls, Times) {
  NULLS(3, "0", ZutGetWallTimeStruct, ZutSetTestWallTimeStruct, ZutGetCurrentTimeStruct,
        ZutSetCurrentTimeStruct, ZutTimeChangeCbCreate, ZutTimeChangeCbLookup, ZutTimeCvtLookup,
        ZutTimeCvtDestroy, ZutTimeCvtTraverse, ZutTimeCvtCreate);
  NULLS(3, "1", ZutTimeToString);
  NULLS(3, "01", ZutTimeRatio, ZutTimeMultInt, ZutTimeStrToNum);
}

TEST(Nulls, ThreadsAndLocks) {
  NULLS(3, "0", ZutThreadCreate, ZutMutexCreateNamedNp, ZutMutexAttachNamedNp, ZutCondCreateNamedNp,
        ZutCondAttachNamedNp, ZutTsdKeyCreate);
  NULLS(3, "1", ZutTsdGetValue, ZutRwMutexGetReadQuota);
  NULLS(7, "0", ZutMutexDestroy, ZutMutexLock, ZutMutexUnlock, ZutCondDestroy, ZutCondWakeAll,
        ZutSpinlockLock, ZutSpinlockUnlock, ZutSpinlockDestroy, ZutRwMutexDestroy,
        ZutRwMutexSetReadQuota, ZutRwMutexReadLock, ZutRwMutexWriteLock, ZutRwMutexUnlock,
        ZutRwMutexUpgradeLock, ZutRwMutexReadLocked, ZutRwMutexWriteLocked, ZutRwMutexGetReadQuota);
  NULLS(7, "01", ZutCondWait);
}

TEST(Nulls, Files) {
  NULLS(3, "0", ZutFileExists, ZutFileWritable, ZutDeleteFile, ZutBackupFile, ZutLookupFile,
        ZutCloseFile, ZutFlushFile, ZutFileTraverse, ZutCatFile, ZutEditFile, ZutViewFilePtr,
        ZutSetFileOpenFunc, ZutSetFileCloseFunc, ZutUnlinkAtomic, ZutSetFileReadFunc,
        ZutPathDestroy, ZutGetTmpFilePath, ZutMkdir, ZutRmdir, ZutChdir, ZutOpenDir, ZutCloseDir,
        ZutPathAddDir, ZutGetFileName, ZutFileGetAccessTimes);
  NULLS(3, "1", ZutReadAtomic, ZutWriteAtomic, ZutPathFindFile);
  NULLS(3, "01", ZutHasExtension, ZutFOpen, ZutOpenFile, ZutPathDeleteDir, ZutPathForEachDir,
        ZutFileGetSize, ZutReadDir);
  NULLS(3, "02", ZutBuildFileName);
  NULLS(3, "03", ZutBuildFileNameSized);
  NULLS(3, "012", ZutBuildDirName, ZutBuildBaseName);
  NULLS(3, "0123", ZutFileExplodeName);
}

TEST(Nulls, Sockets) {
  NULLS(3, "0", ZutSocketCreateServerTcpEx, ZutSocketConnectBeginTcp, ZutSocketCreateClientTcp,
        ZutSocketCreateClientLocal, ZutSocketCreateServerDecnet);
  NULLS(3, "1", ZutSocketRecvAll, ZutSocketGetRecvBufSize, ZutSocketGetSendBufSize,
        ZutSocketGetPort);
  NULLS(3, "2", ZutSocketGetNameStr, ZutSocketGetPeerNameStr);
  NULLS(3, "01", ZutSocketCreateClientDecnet, ZutSocketParseIpAddr);
  NULLS(3, "02", ZutSocketCreateClientBcast);
  NULLS(3, "15", ZutSocketRecvTimeout);
  NULLS(3, "012", ZutCompareNodeNames);
}

TEST(Nulls, Compressors) {
  NULLS(3, "0", ZutCompressorInit, ZutCompressorSetIdent, ZutCompressorReset, ZutCompressorDestroy);
  NULLS(3, "01", ZutCompressorGetStats, ZutCompress, ZutUncompress);
  NULLS(3, "012", ZutCompressorCompress, ZutCompressorUncompress);
  NULLS(7, "12346", ZutCompressorInit);
}
