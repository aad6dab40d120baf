// Type declarations of the add-on's exports, for UI scripts written in
// TypeScript (or checked with it): `query(name)` and the eight services it
// returns, the records their methods hand out, the out-parameter box and the
// receiver of setup events.
//
// Every method has two forms, declared as two overloads:
//   - synchronous: the result is returned; out-parameters are filled;
//   - asynchronous: a callback added as the last argument. The call returns
//     undefined at once, the method runs on a worker thread, and the callback
//     later receives the method's result as its only argument (with no
//     `this`). Out-parameters are NOT filled in this form, and a method that
//     fails on the worker never calls its callback.
// Argument errors throw at once in both forms: too few arguments give
// Error("Index is out of range"), a value of the wrong kind
// Error("Failed to convert to String type") and its siblings.
//
// The declarations state what a UI should pass (a string where the method
// wants text, a number where it wants a number, a fresh `{}` where it hands
// a value back). The conversion layer also takes boxes (`{ value: x }`) for
// any argument and turns other objects into "", 0 or false; those forms are
// left out on purpose, since a UI that relies on them has a bug.
//
// Records (FeatureInfo, ConflictedProductInfo, ProgressInfo) arrive as data
// objects without Object.prototype: they have no toString or hasOwnProperty,
// and String(record) throws; JSON.stringify and Object.keys work. They are
// declared as plain interfaces all the same, so that a UI's own code and
// tests can build them from object literals.
//
// Methods must be called on their service object: taken off it and called
// alone they throw TypeError("Illegal invocation"). Numbers come back as
// signed 32-bit integers, so a code of 0x80000000 or more arrives negative.

/** Receives the result of an asynchronous call: one argument, called once, with no `this`. */
export type Callback<T> = (result: T) => void;

/** An out-parameter: pass a fresh empty `{}`; after a synchronous call `value` holds what the method handed back. */
export interface OutParam<T> {
  /** The value handed back; absent until a synchronous call has filled the box. */
  value?: T;
}

/** A feature's install-level rule from the package's Condition table ("" and 0 when it has none). */
export interface ActiveInstallLevel {
  /** The condition text, for example "VersionNT >= 601"; "" when the feature has no Condition row. */
  condition: string;
  /** The level the feature gets when the condition holds; 0 when it has no Condition row. */
  installLevel: number;
}

/** One feature of the package's feature tree, as getProductFeatures hands it out. */
export interface FeatureInfo {
  /** The feature's key (Feature.Feature), unique in the package. */
  name: string;
  /** The parent feature's key; "" for a top-level feature. */
  parentName: string;
  /** The title to show (Feature.Title). */
  displayName: string;
  /** The description to show (Feature.Description). */
  description: string;
  /** The conditional install level from the Condition table. */
  activeInstallLevel: ActiveInstallLevel;
  /** The feature's install level (Feature.Level); 0 means disabled. */
  defaultInstallLevel: number;
  /** Always 0: no size is computed. */
  cost: number;
  /** True for a package feature; for an installed product, whether the feature is installed (locally or from source). */
  enabled: boolean;
  /** False when Feature.Display is 0 (or the feature is absent from an installed product): hide it. */
  visible: boolean;
}

/** The related product installed on the machine that this package would meet. */
export interface ConflictedProductInfo {
  /** The installed product's registered name. */
  productName: string;
  /** The installed product's product code, braces included (what runUninstallProduct takes). */
  productCode: string;
  /** A beta build of this product family is installed. */
  isBeta: boolean;
  /** The installed product belongs to this product family (a release or a beta). */
  isTolv: boolean;
  /** This very package is installed already (setup type 4). */
  isTheSame: boolean;
  /** Installing would replace a newer version of the family (versions compared as text, character by character). */
  isDowngrade: boolean;
}

/** The latest progress of a running setup operation, as progressChanged receives it. */
export interface ProgressInfo {
  /** Percentage of the bar, 0 to 100 (0 before the first progress reset). */
  progress: number;
  /** The current action's text, for example "Action 9:05:03: InstallFiles. Copying new files". */
  action: string;
  /** False while the bar moves backwards (a rollback after a cancel or a failure). */
  forward: boolean;
}

/** Receives the events of a setup operation; both are called on the main thread with `this` undefined, so use arrow functions or an object literal, not class methods that read `this`. */
export interface ProgressReceiver {
  /** About once a second while the operation runs, with the latest progress (repeated when nothing changed); never after completed. */
  progressChanged: (info: ProgressInfo) => void;
  /** Once at the end with Windows Installer's result: 0 done, 3010 done but a restart is needed, 1602 cancelled by the user, 1603 failed (a launch condition or an action), 1605 product not installed, 1618 another installation is running, 1638 another version is installed, 1619/1620 package cannot be opened / is invalid, 1639 a malformed properties text, 87 a malformed product code. */
  completed: (result: number) => void;
}

/** What installing the package means here: 0 unknown (a query failed), 1 new installation, 2 the product is installed from another package, 3 a related product (Upgrade table) is installed, 4 this very package is installed. */
export type SetupType = 0 | 1 | 2 | 3 | 4;

/** The Windows Installer log mode of a log level: 16386 for 1 (errors, on failure only), 8159 for 3 (everything), 5120 otherwise (properties and verbose lines). */
export type MsiLogFlags = 16386 | 8159 | 5120;

/** `application`: the UI's start and end towards the bootstrapper. */
export interface Application {
  /** Opens the trace file in the directory of the bootstrapper's "/log DIR" switch, if there is one; always true. */
  run(): true;
  /** Asynchronous run: the callback receives true. */
  run(callback: Callback<true>): void;
  /** Releases the package and setup state before the UI quits (the services work again afterwards); always true. */
  join(): true;
  /** Asynchronous join: the callback receives true; do not overlap it with other calls. */
  join(callback: Callback<true>): void;
}

/** `trace_helper`: the UI's own lines in the trace file. */
export interface TraceHelper {
  /** Writes `message` to the trace file when `level` is not above the trace level (700 by default) and tracing is on; always 0. */
  trace(message: string, level: number): 0;
  /** Asynchronous trace: the callback receives 0. */
  trace(message: string, level: number, callback: Callback<0>): void;
}

/** `debug_configuration`: whether this is a debug build of the installer. */
export interface DebugConfiguration {
  /** Sets `debug.value` to false (always, in every configuration); returns 0. */
  isDebug(debug: OutParam<boolean>): 0;
  /** Asynchronous isDebug: the callback receives 0; the box is not filled. */
  isDebug(debug: OutParam<boolean>, callback: Callback<0>): void;
}

/** `tracer_controller`: switches the trace file on and off and sets its level. */
export interface TracerController {
  /** Opens (appends to) the trace file: 0, or -2147483573 (0x8000004B) when it cannot be opened. */
  turnOnTraces(): number;
  /** Asynchronous turnOnTraces: the callback receives its code. */
  turnOnTraces(callback: Callback<number>): void;
  /** Closes the trace file if it is open; always 0. */
  turnOffTraces(): 0;
  /** Asynchronous turnOffTraces: the callback receives 0. */
  turnOffTraces(callback: Callback<0>): void;
  /** Sets the trace level (default 700; lines above it are not written); always 0. */
  setTraceLevel(level: number): 0;
  /** Asynchronous setTraceLevel: the callback receives 0. */
  setTraceLevel(level: number, callback: Callback<0>): void;
  /** Fills `enabled.value` (is the trace file open) and `level.value` (the trace level); returns 0. */
  getTraceState(enabled: OutParam<boolean>, level: OutParam<number>): 0;
  /** Asynchronous getTraceState: the callback receives 0; the boxes are not filled. */
  getTraceState(enabled: OutParam<boolean>, level: OutParam<number>, callback: Callback<0>): void;
}

/** `msi_product_info`: the product in the installer's package; every method throws Error("msiProductInfo error: N") while the package cannot be opened. */
export interface MsiProductInfo {
  /** The product's name (ProductName property). */
  getProductName(): string;
  /** Asynchronous getProductName: the callback receives the name. */
  getProductName(callback: Callback<string>): void;
  /** The default install folder, with a trailing backslash. */
  getInstallDirectory(): string;
  /** Asynchronous getInstallDirectory: the callback receives the folder. */
  getInstallDirectory(callback: Callback<string>): void;
  /** The full path of the package file. */
  getMsiFilePath(): string;
  /** Asynchronous getMsiFilePath: the callback receives the path. */
  getMsiFilePath(callback: Callback<string>): void;
  /** The package's product code, braces included. */
  getProductCode(): string;
  /** Asynchronous getProductCode: the callback receives the code. */
  getProductCode(callback: Callback<string>): void;
  /** A property of the package's Property table ("" when it has none), for example getProperty("ProductVersion"). */
  getProperty(name: string): string;
  /** Asynchronous getProperty: the callback receives the value. */
  getProperty(name: string, callback: Callback<string>): void;
  /** Fills `features` (pass `[]`) with the feature tree; 0, or the Windows Installer code of a failed read (a package without a Condition table lists its features and returns non-zero). */
  getProductFeatures(features: FeatureInfo[]): number;
  /** Asynchronous getProductFeatures: the callback receives the code only; the array is not filled. */
  getProductFeatures(features: FeatureInfo[], callback: Callback<number>): void;
  /** What installing the package means on this machine (see SetupType). */
  getSetupType(): SetupType;
  /** Asynchronous getSetupType: the callback receives the setup type. */
  getSetupType(callback: Callback<SetupType>): void;
  /** The names of the package's cabinets (Media table). */
  getCabFileNames(): string[];
  /** Asynchronous getCabFileNames: the callback receives the names. */
  getCabFileNames(callback: Callback<string[]>): void;
  /** Runs a Windows Installer SQL query on the package: one array of field texts per row; [] for a bad query. */
  executeQuery(query: string): string[][];
  /** Asynchronous executeQuery: the callback receives the rows. */
  executeQuery(query: string, callback: Callback<string[][]>): void;
  /** True when a related product is installed and `info.value` (pass a fresh `{}`) describes it; on false `info.value` is a record of "" and false. */
  getConflictedProductInfo(info: OutParam<ConflictedProductInfo>): boolean;
  /** Asynchronous getConflictedProductInfo: the callback receives whether one was found; the box is not filled. */
  getConflictedProductInfo(info: OutParam<ConflictedProductInfo>, callback: Callback<boolean>): void;
  /** The Value of the Registry row named RebrandingCode; "" without one. */
  getRebrandingCode(): string;
  /** Asynchronous getRebrandingCode: the callback receives the code. */
  getRebrandingCode(callback: Callback<string>): void;
  /** The GETPREMIUM_LINK property; "" without one. */
  getPremiumLink(): string;
  /** Asynchronous getPremiumLink: the callback receives the link. */
  getPremiumLink(callback: Callback<string>): void;
}

/** `msi_package_info`: the package file in the current directory, opened afresh on every call. */
export interface MsiPackageInfo {
  /** Whether the current directory holds a readable package file. */
  isValid(): boolean;
  /** Asynchronous isValid: the callback receives the answer. */
  isValid(callback: Callback<boolean>): void;
  /** The package code from its summary information; "" when it cannot be read. */
  getPackageCode(): string;
  /** Asynchronous getPackageCode: the callback receives the code. */
  getPackageCode(callback: Callback<string>): void;
}

/** `msi_setup_manager`: runs the check, the installation and the removal in the background, one at a time. */
export interface MsiSetupManager {
  /** Starts the pre-installation check with `properties` ('NAME=value NAME="a value"'); returns 0 at once, `receiver` gets the events; a text ending in "NAME=" throws "invalid string position". */
  runPreinstallTask(properties: string, receiver: ProgressReceiver): 0;
  /** Asynchronous runPreinstallTask: the callback receives 0 once started (never, for a bad properties text); the receiver still gets the events. */
  runPreinstallTask(properties: string, receiver: ProgressReceiver, callback: Callback<0>): void;
  /** Starts the installation with `properties` ('INSTALLDIR="C:\\Apps\\X" AGREETOEULA=1'); returns 0 at once, `receiver` gets the events. */
  runSetupTask(properties: string, receiver: ProgressReceiver): 0;
  /** Asynchronous runSetupTask: the callback receives 0 once started (never, for a bad properties text); the receiver still gets the events. */
  runSetupTask(properties: string, receiver: ProgressReceiver, callback: Callback<0>): void;
  /** Starts removing the installed product `productCode` (with Windows Installer `commandLine` properties, "" for none); returns 0 at once. */
  runUninstallProduct(productCode: string, commandLine: string, receiver: ProgressReceiver): 0;
  /** Asynchronous runUninstallProduct: the callback receives 0 once started; the receiver still gets the events. */
  runUninstallProduct(productCode: string, commandLine: string, receiver: ProgressReceiver, callback: Callback<0>): void;
  /** The Windows Installer log mode that a log level gives (see MsiLogFlags). */
  getMsiLogFlags(level: number): MsiLogFlags;
  /** Asynchronous getMsiLogFlags: the callback receives the log mode. */
  getMsiLogFlags(level: number, callback: Callback<MsiLogFlags>): void;
  /** Chooses the Windows Installer log of the next operations: its path ("" for none) and level (1 errors, 3 everything, 2 default); always 0. */
  initLog(path: string, level: number): 0;
  /** Asynchronous initLog: the callback receives 0. */
  initLog(path: string, level: number, callback: Callback<0>): void;
  /** Asks the running operation to stop at its next progress message (completed(1602) follows after the rollback); always 0. */
  cancelTask(): 0;
  /** Asynchronous cancelTask: the callback receives 0. */
  cancelTask(callback: Callback<0>): void;
}

/** `installer_controller`: the machine and the bootstrapper around the UI. */
export interface InstallerController {
  /** Restarts Windows (after enabling SeShutdownPrivilege): 0, or the Win32 error code of the step that failed. */
  reboot(): number;
  /** Asynchronous reboot: the callback receives its code. */
  reboot(callback: Callback<number>): void;
  /** Starts the package's WixShellExecTarget from the install folder: 0, the package's open code, or the shell's code (2 file not found). */
  startProduct(): number;
  /** Asynchronous startProduct: the callback receives its code. */
  startProduct(callback: Callback<number>): void;
  /** The command line the bootstrapper handed over; "" without a bootstrapper. */
  getCommandLine(): string;
  /** Asynchronous getCommandLine: the callback receives the command line. */
  getCommandLine(callback: Callback<string>): void;
  /** The Windows version as "osMajorVer=10 osMinorVer=0 osBuildNumber=19045 osServicePackNumber=0 osEdition=256 osProductType=1". */
  getWindowsVersionProperty(): string;
  /** Asynchronous getWindowsVersionProperty: the callback receives the text. */
  getWindowsVersionProperty(callback: Callback<string>): void;
  /** The host executable's folder, without a trailing backslash (C:\ for a drive root). */
  getCurrentPath(): string;
  /** Asynchronous getCurrentPath: the callback receives the folder. */
  getCurrentPath(callback: Callback<string>): void;
  /** Adds AGREETOEULA=1 to the installed beta's cached package: 0, 1605 when it is not installed, or another Windows Installer code. */
  fixBeta(): number;
  /** Asynchronous fixBeta: the callback receives its code. */
  fixBeta(callback: Callback<number>): void;
  /** Tells the bootstrapper to take its splash screen down; always 0, with or without a bootstrapper. */
  hideSplashScreen(): 0;
  /** Asynchronous hideSplashScreen: the callback receives 0. */
  hideSplashScreen(callback: Callback<0>): void;
}

/** The eight services by name, as `query` hands them out. */
export interface Services {
  /** Start and end towards the bootstrapper. */
  application: Application;
  /** The UI's own trace lines. */
  trace_helper: TraceHelper;
  /** Debug build or not. */
  debug_configuration: DebugConfiguration;
  /** Trace file on, off and its level. */
  tracer_controller: TracerController;
  /** The product in the package. */
  msi_product_info: MsiProductInfo;
  /** The package file itself. */
  msi_package_info: MsiPackageInfo;
  /** Check, installation and removal. */
  msi_setup_manager: MsiSetupManager;
  /** The machine and the bootstrapper. */
  installer_controller: InstallerController;
}

/** A service name that `query` accepts (names are case-sensitive). */
export type ServiceName = keyof Services;

// One overload per name, so that an editor completes the names and shows each
// service's own documentation. There is no overload for an arbitrary string:
// any other name throws Error("Failed to query object") at run time, so a
// string outside the eight is always a bug, and a name held in a variable
// can be typed ServiceName (the last overload).

/** The `application` service (created on first use, the same object every time). */
export function query(name: 'application'): Application;
/** The `trace_helper` service. */
export function query(name: 'trace_helper'): TraceHelper;
/** The `debug_configuration` service. */
export function query(name: 'debug_configuration'): DebugConfiguration;
/** The `tracer_controller` service. */
export function query(name: 'tracer_controller'): TracerController;
/** The `msi_product_info` service. */
export function query(name: 'msi_product_info'): MsiProductInfo;
/** The `msi_package_info` service. */
export function query(name: 'msi_package_info'): MsiPackageInfo;
/** The `msi_setup_manager` service (its first query waits until the bootstrapper has the package ready). */
export function query(name: 'msi_setup_manager'): MsiSetupManager;
/** The `installer_controller` service. */
export function query(name: 'installer_controller'): InstallerController;
/** A service by a name held in a variable of type ServiceName. */
export function query<K extends ServiceName>(name: K): Services[K];
