// The desktop commands: a page POSTs a serialised `interdata.ParamList` to a path under the
// desktop origin and reads one or more serialised `interdata.Response`s back. An address that
// isn't registered fails as a network error. `pages/tavrin5main/tn-desktop.js` writes and reads
// the messages (protobuf's wire format, by hand).
//
// Every command's body is one ParamList; a body that is no ParamList is answered with
// ParamCount and the command still runs with what was read. A path is matched exactly.

/** One item of a ParamList: exactly one of the members. */
type ParamItem =
    {intVal: number} | {doubleVal: number} | {stringVal: string} | {boolVal: boolean} |
    {bytesVal: Uint8Array};

/** A Response: `code` (0 unless the command says), `desc`, `data` (bytes, often JSON). */
interface DesktopResponse {
  code: number;
  desc: string;
  data: Uint8Array;
}

/** `interdata.TavrinWindowData`, as /window/init answers and /window/open takes it. */
interface TavrinWindowData {
  id: number;
  oid: number;
  uid: number;
  name: string;
  openurl: string;
  /** "json" holds the view's initial data as `stringVal`. */
  extra_params: {[key: string]: ParamItem | {}};
}

/** `interdata.WindowProperty`, the optional third item of /window/open. */
interface WindowProperty {
  title?: string;
  /** `pos_type`: "center", "bottomright", "topcenter", ... */
  pos?: {pos_type?: string; x?: number; y?: number; width?: number; height?: number};
  show_titlebar?: boolean;
  resize?: boolean;
}

/**
 * The commands, each with its items (by position) and what it writes. "Nothing" means that
 * no Response comes back (the page's request ends empty).
 */
interface DesktopCommands {
  /** No items. Code 0, `data` a serialised {@link TavrinWindowData}; code 403 and no data for a
   * page that is neither a client page nor of the origin the window was opened on. */
  '/window/init': [];
  /** No items; nothing. */
  '/window/min': [];
  '/window/max': [];
  '/window/restore': [];
  '/window/close': [];
  /** x, y, width, height; code 1 (nothing moves) unless exactly four. */
  '/window/setwindowsize': [{intVal: number}, {intVal: number}, {intVal: number}, {intVal: number}];
  /** Light windows only. [1] the text, [2] the time in ms ([0] not read); ParamCount unless
   * three; 0 when shown, 312 when the tip could not be made. */
  '/window/tooltip': [ParamItem, {stringVal: string}, {intVal: number}];
  /** Five values passed to the window's animation; nothing. */
  '/window/animationstart': [ParamItem, ParamItem, ParamItem, ParamItem, ParamItem];
  /** The same call as /window/animationstart. */
  '/window/animationstop': [ParamItem, ParamItem, ParamItem, ParamItem, ParamItem];
  /** No items: shakes the window for about half a second; nothing. */
  '/window/shakewindow': [];
  /** No items: the folder chooser. `data` {"filePath","fileName","isFolder":true}, or code -1
   * when cancelled. */
  '/window/openFolder': [];
  /** [0] the limit in bytes as decimal text ("" for 104857600), [1] the path. `data`
   * {"filePath","fileName","isFolder","fileSize","formatFileSize"}; code -2 past the limit;
   * code -3 for an empty path, followed by the walk's own reply. */
  '/window/getfoldersize': [{stringVal: string}, {stringVal: string}];
  /** Light windows only. 1 keeps the window on top, 0 ends it; nothing. */
  '/window/setalwaysontop': [{intVal: number}];
  /** No items. `data` {"path"}: the temporary folder without its closing separator. */
  '/window/getwindowtemp': [];
  /** [0] the address, [1] a serialised {@link TavrinWindowData}, [2] (only with exactly three
   * items) a serialised {@link WindowProperty}. Opens a window or starts a native dialog; its
   * own reply is followed by a closing InvalidAPI, always. */
  '/window/open': [{stringVal: string}, {bytesVal: Uint8Array}, {bytesVal: Uint8Array}?];
  /** [0] the window's name (UTF-8). Code 0 when it exists, 2 when it doesn't, 1 unless one item. */
  '/window/havewindow': [{stringVal: string}];
  /** [0] the organisation, [4] and [5] serialised `CoreUserIdList`s ([1] to [3] not read).
   * The chooser's result comes as the event "tn.onchooseresult". */
  '/biz/common/choosecontacts':
      [{intVal: number}, ParamItem, ParamItem, ParamItem, {bytesVal: Uint8Array}, {bytesVal: Uint8Array}];
}

/**
 * A Response as a page reads it: `desc` is never filled, and `data` is what the command wrote,
 * read as the command fills it (JSON text parsed; for /window/init and /window/open a
 * {@link TavrinWindowData} through `decodeWindowData`), or null when it wrote none. A
 * Response of code 0 without data writes no bytes: the page never sees it.
 */
interface DesktopReply<Code extends number, Data = null> {
  code: Code;
  desc: '';
  data: Data;
}

/** A body that is no ParamList, or the wrong number of items (77781016). */
type DesktopParamCount = DesktopReply<77781016>;
/** A path no handler of the window serves (3245466). */
type DesktopInvalidApi = DesktopReply<3245466>;
/** A folder as /window/openFolder gives it. */
interface DesktopFolder { filePath: string; fileName: string; isFolder: true }

/**
 * Every Response a page can see from each command, in any position of its answer; besides
 * these, any command's answer may start with {@link DesktopParamCount} when its body was no
 * ParamList. `never`: the command writes nothing a page can see.
 */
interface DesktopReplies {
  '/window/init': DesktopReply<0, TavrinWindowData> | DesktopReply<403>;
  '/window/min': never;
  '/window/max': never;
  '/window/restore': never;
  '/window/close': never;
  '/window/setwindowsize': DesktopReply<1>;
  /** 312 when the tip could not be made (0 when shown: invisible). */
  '/window/tooltip': DesktopParamCount | DesktopReply<312>;
  '/window/animationstart': never;
  '/window/animationstop': never;
  '/window/shakewindow': never;
  '/window/openFolder': DesktopReply<-1> | DesktopReply<0, DesktopFolder>;
  '/window/getfoldersize':
      DesktopReply<-2> | DesktopReply<-3> |
      DesktopReply<0, DesktopFolder & {fileSize: number; formatFileSize: string}>;
  '/window/setalwaysontop': never;
  '/window/getwindowtemp': DesktopReply<0, {path: string}>;
  /** Its own reply, then always InvalidAPI: the new window's data (code 0) when it opened a
   * light window; ParamCount; 9106923 for window data that doesn't parse; 574642 without the
   * business core's service; 785630 without a core for the organisation. */
  '/window/open':
      DesktopReply<0, TavrinWindowData> | DesktopParamCount | DesktopReply<9106923> |
      DesktopReply<574642> | DesktopReply<785630> | DesktopInvalidApi;
  /** 0 when the window exists (invisible), 2 when it doesn't, 1 unless one item. */
  '/window/havewindow': DesktopReply<1> | DesktopReply<2>;
  /** ParamCount unless six items; 773587 when the organisation is no positive int; 574642 or
   * 785630 without the core. */
  '/biz/common/choosecontacts':
      DesktopParamCount | DesktopReply<773587> | DesktopReply<574642> | DesktopReply<785630>;
}

/** The sample helper (`tn-desktop.js`). */
interface TnDesktopApi {
  /** The desktop origin, e.g. "https://tnpc-desktop.invalid". */
  origin: string;
  /** Sends `path` with `items` (or the raw `body`); resolves to the Responses written. */
  send<P extends keyof DesktopCommands>(path: P, items?: DesktopCommands[P] | ParamItem[],
                                        body?: Uint8Array): Promise<DesktopResponse[]>;
  send(path: string, items?: ParamItem[], body?: Uint8Array): Promise<DesktopResponse[]>;
  encodeParamList(items?: ParamItem[], oid?: number, callId?: string): Uint8Array;
  decodeResponse(bytes: Uint8Array): DesktopResponse;
  decodeResponses(bytes: Uint8Array): DesktopResponse[];
  decodeWindowData(bytes: Uint8Array): TavrinWindowData;
  encodeWindowData(data: Partial<TavrinWindowData>): Uint8Array;
  encodeWindowProperty(property: WindowProperty): Uint8Array;
}

interface Window {
  TnDesktop: TnDesktopApi;
}
declare var TnDesktop: TnDesktopApi;
