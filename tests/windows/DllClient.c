/* A Windows program that uses travune.dll the way its callers do: loaded with LoadLibraryA, every
 * export resolved by name with GetProcAddress, a conversion into raw floats and a Data File
 * Access read of the same acquisition (the two must give the same values), and the type library
 * read back from the DLL's resources with LoadTypeLibEx.
 * Usage: travune_dll_client DLL DESCRIPTION OUTPUT_DIRECTORY (a Morvane acquisition). Exit 0 when
 * every check passes; each failed check prints one line. */
#define COBJMACROS
#include <windows.h>
#include <oleauto.h>

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <wchar.h>

static int failures = 0;

static void Check(int ok, const char* what) {
  if (!ok) {
    printf("FAILED: %s\n", what);
    ++failures;
  }
}

/* ---- Exports -------------------------------------------------------------------------- */

static const char* const kExports[] = {
    "cvtReadBinDescFile", "cvtInitDataFile", "cvtInitDataFileEx", "cvtSetBinDataBlock", "cvtConvertBinData",
    "cvtCloseDataFile", "cvtReleaseResources", "cvtGetNumChansUser", "cvtGetScanSize", "cvtGetNumScans",
    "cvtGetVersion", "cvtGetMaxFormats", "cvtGetFormatById", "cvtGetFormatByIndex", "cvtGetFmtFileName",
    "cvtSetBinDesc", "cvtSetScanDesc", "cvtCvtBinData", "cvtEndBinDesc", "cvtCvtBinToUser", "cvtCvtUserToBin",
    "cvtVbAllocBdc", "cvtVbBuildBdc", "dfaOpen", "dfaClose", "dfaGetAcqInfo", "dfaGetChanInfo", "dfaGetData",
    "dfaGetLastErrorCode", "tvnAcqOpen", "tvnAcqClose", "tvnAcqGetInfo", "tvnAcqGetChanInfo", "tvnAcqGetScanTimes",
    "tvnAcqReadFloat32", "tvnAcqReadFloat64", "tvnConvOpen", "tvnConvStep", "tvnConvRun", "tvnConvFinish",
    "tvnConvClose", "tvnStatusText", "tvnFormatIdFromName", "tvnFormatName"};

typedef int32_t (*ReadBinDescFileFn)(const char*, const char*, int32_t);
typedef int32_t (*InitDataFileExFn)(const char*, const char*, int32_t, uint32_t);
typedef int32_t (*FormatIdFn)(int32_t);
typedef int32_t (*NoArgumentFn)(void);
typedef int32_t (*GetVersionFn)(char*, int32_t);
typedef int32_t (*DfaOpenFn)(const char*, int32_t);
typedef int32_t (*DfaHandleFn)(int32_t);
typedef int32_t (*DfaGetAcqInfoFn)(int32_t, int32_t, int32_t, void*);
typedef int32_t (*DfaGetDataFn)(int32_t, float*, uint32_t, uint32_t, uint32_t*, int32_t);

static FARPROC Entry(HMODULE dll, const char* name) {
  FARPROC entry = GetProcAddress(dll, name);
  if (entry == NULL) printf("FAILED: no export %s\n", name), ++failures;
  return entry;
}

static void CheckExports(HMODULE dll) {
  for (size_t i = 0; i < sizeof kExports / sizeof kExports[0]; ++i) Entry(dll, kExports[i]);
}

/* ---- Conversion and Data File Access -------------------------------------------------- */

enum { kSourceMorvane = 3, kFormatFloat32 = 9, kAcqNumChans = 2, kAcqNumScans = 3, kAllChannels = -1 };

static long FileBytes(const char* path, float* values, long maxValues) {
  FILE* file = fopen(path, "rb");
  if (file == NULL) return -1;
  const long read = (long)fread(values, sizeof(float), (size_t)maxValues, file);
  fclose(file);
  return read;
}

/* Converts the acquisition into raw floats; returns how many values the output holds. */
static long ConvertToFloats(HMODULE dll, const char* desc, const char* outDir, float* values, long maxValues,
                            int32_t* chans, int32_t* scans) {
  char data[MAX_PATH], out[MAX_PATH], header[MAX_PATH];
  snprintf(data, sizeof data, "%.*s.bin", (int)(strlen(desc) - 4), desc);
  snprintf(out, sizeof out, "%s\\client.f32", outDir);
  snprintf(header, sizeof header, "%s\\client.hdr", outDir);
  const ReadBinDescFileFn readDesc = (ReadBinDescFileFn)(void*)Entry(dll, "cvtReadBinDescFile");
  const InitDataFileExFn init = (InitDataFileExFn)(void*)Entry(dll, "cvtInitDataFileEx");
  const FormatIdFn convert = (FormatIdFn)(void*)Entry(dll, "cvtConvertBinData");
  const FormatIdFn close = (FormatIdFn)(void*)Entry(dll, "cvtCloseDataFile");
  const NoArgumentFn release = (NoArgumentFn)(void*)Entry(dll, "cvtReleaseResources");
  const NoArgumentFn numChans = (NoArgumentFn)(void*)Entry(dll, "cvtGetNumChansUser");
  const NoArgumentFn numScans = (NoArgumentFn)(void*)Entry(dll, "cvtGetNumScans");
  if (failures != 0) return -1;
  Check(readDesc(desc, data, kSourceMorvane) > 0, "cvtReadBinDescFile opens the acquisition");
  *chans = numChans();
  *scans = numScans();
  Check(init(header, out, kFormatFloat32, 0) == 0, "cvtInitDataFileEx creates the raw float output");
  int32_t percent = 0;
  for (int calls = 0; percent >= 0 && percent < 100 && calls < 100000; ++calls) percent = convert(kFormatFloat32);
  Check(percent == 100, "cvtConvertBinData reaches 100 percent");
  Check(close(kFormatFloat32) == 0, "cvtCloseDataFile");
  Check(release() == 0, "cvtReleaseResources");
  return FileBytes(out, values, maxValues);
}

/* Reads every scan of every channel through Data File Access into values. */
static long ReadThroughDataFileAccess(HMODULE dll, const char* desc, float* values, long maxValues) {
  const DfaOpenFn open = (DfaOpenFn)(void*)Entry(dll, "dfaOpen");
  const DfaHandleFn close = (DfaHandleFn)(void*)Entry(dll, "dfaClose");
  const DfaGetAcqInfoFn info = (DfaGetAcqInfoFn)(void*)Entry(dll, "dfaGetAcqInfo");
  const DfaGetDataFn getData = (DfaGetDataFn)(void*)Entry(dll, "dfaGetData");
  if (failures != 0) return -1;
  const int32_t handle = open(desc, 1 /* detect the type */);
  Check(handle >= 0, "dfaOpen with the type left to detection");
  if (handle < 0) return -1;
  int32_t chans = 0, scans = 0;
  Check(info(handle, kAcqNumChans, 0, &chans) == 0, "dfaGetAcqInfo channel count");
  Check(info(handle, kAcqNumScans, 0, &scans) == 0, "dfaGetAcqInfo scan count");
  uint32_t got = 0;
  if ((long)chans * scans > maxValues) return -1;
  Check(getData(handle, values, 0, (uint32_t)scans, &got, kAllChannels) == 0, "dfaGetData of every channel");
  Check(got == (uint32_t)scans, "dfaGetData returns every scan");
  Check(close(handle) == 1, "dfaClose of an open session");
  return (long)got * chans;
}

static void CheckConversionAgainstDataFileAccess(HMODULE dll, const char* desc, const char* outDir) {
  enum { kMaxValues = 1 << 20 };
  static float converted[kMaxValues], read[kMaxValues];
  int32_t chans = 0, scans = 0;
  const long convertedCount = ConvertToFloats(dll, desc, outDir, converted, kMaxValues, &chans, &scans);
  Check(chans > 0 && scans > 0, "the conversion session reports channels and scans");
  Check(convertedCount == (long)chans * scans, "the raw float output holds one float per channel and scan");
  const long readCount = ReadThroughDataFileAccess(dll, desc, read, kMaxValues);
  Check(readCount == convertedCount, "Data File Access reads as many values as the conversion wrote");
  if (readCount == convertedCount && convertedCount > 0) {
    Check(memcmp(converted, read, (size_t)readCount * sizeof(float)) == 0,
          "Data File Access gives the converted values bit for bit");
  }
}

/* ---- Type library ----------------------------------------------------------------------- */

static int SameText(BSTR text, const wchar_t* expected) { return text != NULL && wcscmp(text, expected) == 0; }

/* The outcome of a GetDocumentation call: its name and help string against the expected ones. */
static void CheckDocumentation(HRESULT found, BSTR name, BSTR help, const wchar_t* expectedName,
                               const wchar_t* expectedHelp, const char* what) {
  if (FAILED(found) || !SameText(name, expectedName) || !SameText(help, expectedHelp)) {
    printf("FAILED: %s: got \"%ls\" \"%ls\" (0x%08lx)\n", what, name != NULL ? name : L"", help != NULL ? help : L"",
           (unsigned long)found);
    ++failures;
  }
  SysFreeString(name);
  SysFreeString(help);
}

struct FunctionText {
  const wchar_t* name;
  const wchar_t* help;
};

static const struct FunctionText kFunctions[] = {
    {L"dfaOpen",
     L"Opens an acquisition and returns a Data File Access session handle.  The handle is used for data retreival "
     L"or querying information.  If the acquisition could not be opened, a negative error code is returned."},
    {L"dfaClose", L"Closes the acquisition associated with the Data File Access session handle."},
    {L"dfaGetAcqInfo", L"Returns requested information about the Acquisition configuration."},
    {L"dfaGetChanInfo", L"Returns requested information about the configuration of the specified Channel."},
    {L"dfaGetData", L"Returns a number of scans of data from the specified channel(s)."},
    {L"dfaGetLastErrorCode", L"Returns the value of the Error Code produced during the last Data Access function call."},
};

static void CheckModule(ITypeInfo* module) {
  TYPEATTR* attr = NULL;
  if (FAILED(ITypeInfo_GetTypeAttr(module, &attr))) {
    Check(0, "DataAccess attributes");
    return;
  }
  Check(attr->typekind == TKIND_MODULE, "DataAccess is a module");
  Check(attr->cFuncs == sizeof kFunctions / sizeof kFunctions[0], "DataAccess declares six functions");
  for (UINT i = 0; i < attr->cFuncs && i < sizeof kFunctions / sizeof kFunctions[0]; ++i) {
    FUNCDESC* func = NULL;
    if (FAILED(ITypeInfo_GetFuncDesc(module, i, &func))) {
      Check(0, "DataAccess function description");
      continue;
    }
    BSTR name = NULL, help = NULL, dll = NULL, entry = NULL;
    WORD ordinal = 0;
    const HRESULT found = ITypeInfo_GetDocumentation(module, func->memid, &name, &help, NULL, NULL);
    CheckDocumentation(found, name, help, kFunctions[i].name, kFunctions[i].help,
                       "DataAccess function name and help string");
    const HRESULT bound = ITypeInfo_GetDllEntry(module, func->memid, INVOKE_FUNC, &dll, &entry, &ordinal);
    Check(SUCCEEDED(bound) && SameText(dll, L"Travune.dll"), "DataAccess function bound to Travune.dll");
    /* Wine's type-library reader gives "#" for entry names widl wrote (an open question, see
       the README), so the entry is reported rather than checked. */
    if (!SameText(entry, kFunctions[i].name)) {
      printf("note: %ls reads back with entry \"%ls\"\n", kFunctions[i].name, entry != NULL ? entry : L"");
    }
    SysFreeString(dll);
    SysFreeString(entry);
    ITypeInfo_ReleaseFuncDesc(module, func);
  }
  ITypeInfo_ReleaseTypeAttr(module, attr);
}

/* An enumeration's value by its enumerator name; 0x7fffffff when it is missing. */
static long EnumValue(ITypeInfo* info, const wchar_t* enumerator) {
  TYPEATTR* attr = NULL;
  long value = 0x7fffffff;
  if (FAILED(ITypeInfo_GetTypeAttr(info, &attr))) return value;
  for (UINT i = 0; i < attr->cVars; ++i) {
    VARDESC* var = NULL;
    if (FAILED(ITypeInfo_GetVarDesc(info, i, &var))) continue;
    BSTR name = NULL;
    if (SUCCEEDED(ITypeInfo_GetDocumentation(info, var->memid, &name, NULL, NULL, NULL)) && SameText(name, enumerator)) {
      value = V_I4(var->lpvarValue);
    }
    SysFreeString(name);
    ITypeInfo_ReleaseVarDesc(info, var);
  }
  ITypeInfo_ReleaseTypeAttr(info, attr);
  return value;
}

static ITypeInfo* TypeNamed(ITypeLib* lib, const wchar_t* wanted) {
  for (UINT i = 0; i < ITypeLib_GetTypeInfoCount(lib); ++i) {
    BSTR name = NULL;
    ITypeInfo* info = NULL;
    const int match = SUCCEEDED(ITypeLib_GetDocumentation(lib, (INT)i, &name, NULL, NULL, NULL)) && SameText(name, wanted);
    SysFreeString(name);
    if (match && SUCCEEDED(ITypeLib_GetTypeInfo(lib, i, &info))) return info;
  }
  printf("FAILED: the type library has no type %ls\n", wanted);
  ++failures;
  return NULL;
}

struct EnumeratorValue {
  const wchar_t* type;
  const wchar_t* name;
  long value;
};

static const struct EnumeratorValue kEnumerators[] = {
    {L"dfaSourceDataT", L"sdUnknown", 1},     {L"dfaSourceDataT", L"sdCeldrin", 6},
    {L"dfaAcqInfoT", L"acqNumChans", 2},      {L"dfaChanInfoT", L"chnLabel", 3},
    {L"dfaErrorT", L"errInvalHandle", -8},    {L"dfaErrorT", L"errBadHeaderFormat", -13},
    {L"dfaChanSpecT", L"csAllChans", -1},
};

static void CheckTypeLibrary(const char* dllPath) {
  wchar_t widePath[MAX_PATH];
  MultiByteToWideChar(CP_ACP, 0, dllPath, -1, widePath, MAX_PATH);
  ITypeLib* lib = NULL;
  if (FAILED(LoadTypeLibEx(widePath, REGKIND_NONE, &lib))) {
    Check(0, "LoadTypeLibEx reads the DLL's type library");
    return;
  }
  BSTR name = NULL, help = NULL;
  const HRESULT found = ITypeLib_GetDocumentation(lib, -1, &name, &help, NULL, NULL);
  CheckDocumentation(found, name, help, L"Travune", L"Travune Data File Access", "library name and help string");
  TLIBATTR* attr = NULL;
  if (SUCCEEDED(ITypeLib_GetLibAttr(lib, &attr))) {
    Check(attr->wMajorVerNum == 2 && attr->wMinorVerNum == 3, "library version 2.3");
    ITypeLib_ReleaseTLibAttr(lib, attr);
  }
  ITypeInfo* module = TypeNamed(lib, L"DataAccess");
  if (module != NULL) {
    BSTR moduleName = NULL, moduleHelp = NULL;
    const HRESULT moduleFound = ITypeInfo_GetDocumentation(module, MEMBERID_NIL, &moduleName, &moduleHelp, NULL, NULL);
    CheckDocumentation(moduleFound, moduleName, moduleHelp, L"DataAccess",
                       L"Data File Access functions to read scaled data from raw binary data files.",
                       "module name and help string");
    CheckModule(module);
    ITypeInfo_Release(module);
  }
  for (size_t i = 0; i < sizeof kEnumerators / sizeof kEnumerators[0]; ++i) {
    ITypeInfo* info = TypeNamed(lib, kEnumerators[i].type);
    if (info == NULL) continue;
    Check(EnumValue(info, kEnumerators[i].name) == kEnumerators[i].value, "enumerator value");
    ITypeInfo_Release(info);
  }
  ITypeLib_Release(lib);
}

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: travune_dll_client DLL DESCRIPTION OUTPUT_DIRECTORY\n");
    return 2;
  }
  HMODULE dll = LoadLibraryA(argv[1]);
  if (dll == NULL) {
    printf("FAILED: LoadLibraryA(%s), error %lu\n", argv[1], GetLastError());
    return 1;
  }
  CheckExports(dll);
  CheckConversionAgainstDataFileAccess(dll, argv[2], argv[3]);
  CheckTypeLibrary(argv[1]);
  FreeLibrary(dll);
  printf("%s\n", failures == 0 ? "all checks passed" : "some checks failed");
  return failures == 0 ? 0 : 1;
}
