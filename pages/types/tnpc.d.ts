// What the client puts on every page's `window`: the native object `tnpc` (also reachable as
// `Tavrin`, the same object) and `tnpc_global`. The page's calls run in its render process;
// those marked "forwarded" become a message to the client and return at once, with nothing.

/** The answer of the classic `exebusinessaction`: the core's code, its data text and the id. */
type TnpcBusinessCallback = (code: number, data: string, callbackId: string) => void;

/**
 * The answer of the SDK form of `exebusinessaction`: one JSON text (with a closing line feed)
 * holding a {@link TnpcSdkResponse}.
 */
type TnpcSdkCallback = (responseText: string) => void;

/** The SDK form's request, written with `JSON.stringify`. */
interface TnpcSdkRequest {
  /**
   * The function, case ignored. "config", "biz.config", "com.config"; "biz.initfinished",
   * "biz.choosecontacts", "biz.opencontactscard", "biz.chooseimage", "biz.previewimage",
   * "biz.getvisitortoken", "biz.convertimplidtoopenid", "biz.opengroupchat" (each also with
   * "com." in front); "ui.closewindow". Any other name is answered at once with code -2,
   * "NOT_SUPPORTED".
   */
  api: string;
  /** The page's own text, itself JSON; it comes back parsed as the answer's `meta`. */
  meta?: string;
  /**
   * The call's data. The client adds "appIdImplId" (the app's identity, once a `config` has
   * succeeded in this render process) unless the page set it, and "isFromJsSDK": true.
   */
  payload?: Record<string, unknown>;
}

/**
 * The SDK form's answer. Before a successful `config` every function but "config",
 * "initfinished" and "getvisitortoken" is answered with code -4, "PERMISSION_DENIED".
 * A "config" answered by the core carries the raw result code in `status.code`.
 */
interface TnpcSdkResponse<Data = Record<string, unknown>> {
  status: {code: number; message: string};
  /** The request's `meta`, parsed; `{}` when it was missing or no JSON. */
  meta: unknown;
  /** The core's result, parsed; `{}` when it was empty or no JSON. */
  data: Data;
}

/**
 * The formats in which the client raises events. What the page receives:
 * "json" and "base64": a string; "pbtext": a string holding a serialised `interdata.UnifyEvent`
 * (oid = the type, event_type = the name, data_buf = the bytes; the wire form, cut at its
 * first NUL); "binary" and "pb": an ArrayBuffer.
 */
type TnpcEventFormat = 'json' | 'pbtext' | 'binary' | 'pb' | 'base64';

/**
 * A subscription's function: called once for each event of a subscribed name.
 * @param messageType the event's type number, as raised
 * @param eventName the event's name
 * @param format one of {@link TnpcEventFormat}
 * @param payload a string, or an ArrayBuffer for "binary" and "pb"
 */
type TnpcEventCallback = (messageType: number, eventName: string, format: string,
                          payload: string | ArrayBuffer) => void;

/**
 * The events of the client that pages may subscribe to, with their formats and payloads.
 * The names are the client's vocabulary: the module passes any name through.
 */
interface TnpcEvents {
  /** The user closes a light window: "json", empty text. The page closes it with /window/close. */
  'tn.onclose': '';
  /** A light window's state changed: "json", the state as a decimal text, {@link TnWindowState}. */
  'tn.onwindowChange': TnWindowState;
  /** Files dropped on the view: the client's file-list event (a serialised `CoreMediaInfoList`). */
  'tn.ondragfile': ArrayBuffer | string;
  /** The files a page chose through /window/open's file dialog: "pbtext", whose `data_buf`
   * holds a serialised `CoreMediaList`. */
  'tn.choosefile': string;
  /** The main page's answer to a message box: "json", {@link TnMessageBoxResult}. */
  'tn.messagebox': string;
  /** A preview or save that a dialog started has ended: "json", `{"code":N}`. */
  'tn.previewfile': string;
  /** The contact chooser's result: "json", the chooser's own JSON. */
  'tn.onchooseresult': string;
  /** A folder's size (reserved; no command raises it): "json", a folder object or `{"code":-2}`. */
  'tn.getfilesize': string;
}

/**
 * A window's state as "tn.onwindowChange" gives it: "0" restored, "1" minimised, "2" maximised
 * (told when it changes: by the title bar's buttons, `minwnd`/`maxwnd`/`restorewnd`,
 * /window/min|max|restore, the host's own calls).
 */
type TnWindowState = '0' | '1' | '2';

/**
 * The window's activation, as a page hears it after subscribing with the classic call
 * `tnpc.exebusinessaction('regcallback', 'updateactivestate', '', '', '', callback)`: the
 * callback's `data` each time the window becomes active or stops being so (another window took
 * the focus, the window was minimised, hidden or closed).
 */
type TnActiveState = 'active' | 'inactive';

/** The JSON of "tn.messagebox". */
interface TnMessageBoxResult {
  status: number;
  checkBoxStatus?: boolean;
  windowid?: number;
}

interface Tnpc {
  /** Forwarded: minimises the page's window. */
  minwnd(): void;
  /** Forwarded: maximises the page's window. */
  maxwnd(): void;
  /** Forwarded: restores the page's window. */
  restorewnd(): void;
  /** Forwarded: closes the page's window (the host may ask the page first). */
  closewnd(): void;
  /** Forwarded: closes the page's window at once. */
  forceclosewnd(): void;
  /** Reloads the page, in the render process. */
  refresh(): void;
  /** Goes back one history entry, in the render process. */
  goback(): void;
  /** Goes forward one history entry, in the render process. */
  goforward(): void;
  /** Answered in the render process. */
  cangoback(): boolean;
  /** Answered in the render process. */
  cangoforward(): boolean;
  /**
   * The classic form, forwarded: asks the client's business core. Business and action go in
   * lower case. `idOrNumber` names the call for its answer (a number in decimal; with an
   * empty id the callback's function name, else "0"); it is read only with a callback. The
   * action "receive" sends nothing and parks `callback` for answers the page didn't ask for.
   * Only pages whose address the client trusts are served.
   */
  exebusinessaction(business: string, action: string, param: string, json: string,
                    idOrNumber: string | number, callback: TnpcBusinessCallback | null): void;
  /** The SDK form, forwarded: `requestJson` is a {@link TnpcSdkRequest}. */
  exebusinessaction(requestJson: string, callback: TnpcSdkCallback | null): void;
  /**
   * Forwarded: subscribes `callback` to each event of `names`. Under a non-empty `tag` a
   * second subscription of a name is ignored (the first function stays); without a tag
   * subscriptions pile up. Subscriptions outlive reloads of the page.
   */
  registerEvent(names: Array<keyof TnpcEvents | string>, callback: TnpcEventCallback,
                tag?: string): void;
  /** Forwarded: ends the subscriptions of `names` that carry `tag`. */
  unregisterEvent(names: Array<keyof TnpcEvents | string>, tag: string): void;
  /**
   * Forwarded: raises an event to the client. Only `format` "json" with a `payload` is posted;
   * the two-argument form and other formats reach the client and post nothing.
   */
  sendEvent(type: number, name: string): void;
  sendEvent(type: number, name: string, format: 'json' | 'pbtext' | 'pb' | 'text',
            payload: string): void;
}

/** The extension every page of the process has. */
interface TnpcGlobal {
  /** The module's version, "major.minor.patch.build". */
  tnwebui_ver: string;
  /** The business core's version. */
  tnbusiness_ver: string;
  /** Shows an alert "Hello N". */
  sayhello(): void;
  /** Declared by the extension but answered by nothing: it yields no version. */
  GetVersion(): undefined;
}

interface Window {
  tnpc: Tnpc;
  /** The same object as `tnpc`. */
  Tavrin: Tnpc;
  tnpc_global: TnpcGlobal;
}
declare var tnpc: Tnpc;
declare var Tavrin: Tnpc;
declare var tnpc_global: TnpcGlobal;
