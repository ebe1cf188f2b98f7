// The client's JS SDK as a light app sees it through its TavrinJsBridge: the thirty names the
// client serves, what each takes in `data.payload`, and the answer it gives. A light app
// brings its own bridge; `pages/tavrin5main/tavrin-js-bridge.js` is a sample that follows the
// protocol below.
//
// Page -> client: `window.havFetchJSMessage(text)`, `text` a JSON array of messages
//   {handlerName, callbackId, data} (a call) or {handlerName, responseId, responseData} (the
//   page's answer to a call of the client's). A message with a non-null `responseData` counts
//   as an answer.
// Client -> page: the client runs `TavrinJsBridge._handleMessageFromObjC(text)` with one JSON
//   object: {responseId, responseData} answering a page's call, or {callbackId, data,
//   handlerName} calling a handler of the page (progress and playing events carry the id of
//   the call that started them). The text is spliced in raw between single quotes: an answer
//   holding a single quote, a backslash or a line break breaks the client's script, and the
//   page never sees it. `_checkHandler(text)` must return a JSON text {"result": boolean}.

/** The envelope of every answer; `message` is "ok" whatever the code (and "OK" in 15). */
interface SdkAnswer<Data = {}> {
  status: {code: number; message: string};
  meta?: {};
  data?: Data;
}

/**
 * The status codes of the SDK's answers: 0 success; 400 a save dialog's result without
 * `fileName` or `filePath`; 404 the host's result is no JSON (or null), or a copy failed;
 * 41 a download's file could not be opened; 31 an upload's progress is missing; -6 a voice
 * result is no JSON, or the window is gone; -7 an empty or too long file choice; -8 a file's
 * size can't be read; 9106923 a required payload key is missing or no string, or a service is
 * missing; 89234 the app code's answer doesn't parse; 62524 the signature is rejected; 6254244
 * the signature check's answer is malformed. A value from the business core stands as it is.
 */
type SdkStatusCode = number;

/** A file of this machine as the SDK names it: "res://local/" and the path with "/". */
type SdkLocalId = string;

/** The progress of a transfer, sent to the page's handler under the transfer call's id. */
interface SdkProgress { payload: {localId: SdkLocalId; total: number; loaded: number} }

/**
 * Each name: `payload` is what the call's `data.payload` holds; `answer` what its callback
 * receives (`never`: no answer comes). Numbers after "template" name the envelope's text.
 */
interface SdkFunctions {
  /** Checks the page's signature with the business core; leaves the app's identity in the
   * SDK whatever the answer (template 1: 0, 62524, 6254244 or the core's error). */
  'config': {
    payload: {appId?: string; nonceStr?: string; signature?: string; timestamp?: number};
    answer: SdkAnswer<{}>;
  };
  /** A one-time code for the app "oid-id" (template 3: 0, 89234 or the core's error). */
  'biz.getAuthCode': {payload: {appId?: string}; answer: SdkAnswer<{authCode: string}>};
  /** The menu is not shown; always code 0 (template 14). */
  'ui.setNavigationBarMenu': {payload: {items?: unknown[]}; answer: SdkAnswer<{}>};
  /** Answers code 0 (template 14), then closes the window. */
  'ui.closeWindow': {payload: {}; answer: SdkAnswer<{}>};
  /** Not a call: the page's answer to the client's back command (see SdkPageHandlers). */
  'ui.onHistoryBack': {payload: {}; answer: never};
  /** The visitor's tokens (template 15: code 0, message "OK"). */
  'internal.biz.getVisitorToken': {
    payload: {};
    answer: SdkAnswer<{
      deviceId: string;
      center: {userId: string; token: string; domain: 'tncenter'};
      org: {userId: {oid: number; uid: number}; token: string; domain: string};
    }>;
  };
  /** Up to `count` images (template 5; 404 with a broken text when the host's answer is no
   * JSON). */
  'media.chooseImage': {payload: {count?: number}; answer: SdkAnswer<{tempFiles: unknown[]}>};
  /** Opens the contact chooser; the answer is the chooser's own JSON, with no envelope. */
  'biz.chooseContacts': {payload: Record<string, unknown>; answer: unknown};
  /** Shows `current` (template 1 once the host has fetched it). */
  'media.previewImage': {payload: {urls?: string[]; current?: string}; answer: SdkAnswer<{}>};
  /** Opens a person's card; 404 (template 12) when the id can't be converted, else no
   * answer. */
  'biz.opencontactscard': {payload: {staffId?: string}; answer: SdkAnswer<never>};
  /** One video (template 6: `data` is the host's list). `maxDuration` is cut to 300. */
  'media.chooseVideo': {
    payload: {sourceType?: string[]; compressed?: boolean; maxDuration?: number};
    answer: SdkAnswer<unknown>;
  };
  /** Opens the viewer and answers at once (template 9). */
  'media.previewVideo': {payload: {url?: string}; answer: SdkAnswer<{endTime: 0; finished: true}>};
  /** Has the host fetch `url` to a local file (template 8). */
  'utils.uploadFile': {payload: {url: string}; answer: SdkAnswer<{localId: SdkLocalId}>};
  /**
   * Uploads a local file to an S3 bucket; progress goes to "utils.onUploadProgress".
   * The answer is template 10, whose brace closes `status` early: on its own the text is no
   * valid JSON; inside the bridge's message it parses, `responseData` then holds only
   * `status`, and "meta" and "data" land beside `responseId`.
   */
  'utils.uploadFileToS3': {
    payload: {
      localId: SdkLocalId; endpoint: string; accessKey: string; secretKey: string;
      sessionToken?: string; region: string; bucket: string; object: string;
    };
    answer: {status: {code: number; message: string}};
  };
  /** Downloads `url` into the web cache; progress goes to "utils.onDownloadProgress"
   * (template 8: 0, 41 or 9106923). */
  'utils.downloadFile': {payload: {url: string}; answer: SdkAnswer<{localId: SdkLocalId}>};
  /** Saves a downloaded file where the user says; only with `target` holding "local"
   * (template 2: 0, 400, 404). */
  'utils.saveFile': {payload: {url: SdkLocalId; target?: string[]}; answer: SdkAnswer<{}>};
  /** Plays a voice file; playing events go to "media.onVoicePlay" and
   * "media.onVoicePlayEnd" (template 2). */
  'media.playVoice': {payload: {localId: SdkLocalId}; answer: SdkAnswer<{}>};
  'media.pauseVoice': {payload: {localId: SdkLocalId}; answer: SdkAnswer<{}>};
  'media.stopVoice': {payload: {localId: SdkLocalId}; answer: SdkAnswer<{}>};
  /** Registers for playing events, and stops what is playing (the host's action is the
   * stop's). */
  'media.onVoicePlay': {payload: {localId: SdkLocalId}; answer: SdkAnswer<{}>};
  /** A name for the page's handler; the call does nothing. */
  'media.onVoicePlayEnd': {payload: {}; answer: never};
  /** A name for the page's handler; the call does nothing. */
  'utils.onUploadProgress': {payload: {}; answer: never};
  /** A name for the page's handler; the call does nothing. */
  'utils.onDownloadProgress': {payload: {}; answer: never};
  /** Shares a link (template 2; 9106923 without title, content or url). */
  'utils.share': {
    payload: {title: string; content: string; image?: string; url: string};
    answer: SdkAnswer<{}>;
  };
  /** Opens a map at the place (template 2). */
  'device.displayLocation': {
    payload: {coordinateType?: string; latitude?: string | number; longitude?: string | number;
              name?: string; address?: string};
    answer: SdkAnswer<{}>;
  };
  /** Opens a group's chat (template 11: the host's code and message). */
  'biz.openGroupChat': {payload: {groupId?: string}; answer: SdkAnswer<never>};
  /** The same as "biz.opencontactscard". */
  'biz.openContactsCard': {payload: {staffId?: string}; answer: SdkAnswer<never>};
  /** Local files (template 4; -7 for an empty or too long choice). */
  'biz.chooseLocalFile': {
    payload: {max?: number; maxSize?: number; maxTip?: string; types?: string[]};
    answer: SdkAnswer<{fileList: unknown[]}>;
  };
  /** The members of sectors (template 7: `data` is the core's list; 404 with template 12). */
  'biz.getSectorMember': {payload: {sectors?: string[]}; answer: SdkAnswer<unknown>};
  /** The contact chooser for departments; the chooser's own JSON, with no envelope. */
  'biz.chooseDepartments': {payload: Record<string, unknown>; answer: unknown};
}

/** A name the client doesn't serve is answered with template 13. */
type SdkUnknownAnswer = {status: {code: 0; message: 'ok'}};

/** The handlers a page registers for the client's calls, with the `data` each receives. */
interface SdkPageHandlers {
  /** The back command; the page answers `{result: true}` to go back itself. */
  'ui.onHistoryBack': {meta: {}; payload: {}};
  'utils.onDownloadProgress': SdkProgress;
  'utils.onUploadProgress': SdkProgress;
  /** `currentTime` holds the time that remains, as the client fills it. */
  'media.onVoicePlay': {payload: {localId: SdkLocalId; currentTime: number}};
  'media.onVoicePlayEnd': {payload: {localId: SdkLocalId}};
}

/** A call's `data`. */
interface SdkCallData<Payload> { meta?: {}; payload?: Payload }

/** One message of the bridge's queue. */
interface SdkMessage {
  handlerName: string;
  callbackId?: string;
  data?: unknown;
  responseId?: string;
  responseData?: unknown;
}

/** The sample bridge (`tavrin-js-bridge.js`). */
interface TavrinJsBridgeApi {
  /** Calls the client's function `name`; `callback` gets the answer's `responseData`. */
  callHandler<K extends keyof SdkFunctions>(name: K, data: SdkCallData<SdkFunctions[K]['payload']>,
                                            callback?: (answer: SdkFunctions[K]['answer']) => void): void;
  callHandler(name: string, data?: SdkCallData<unknown>,
              callback?: (answer: SdkUnknownAnswer) => void): void;
  /** Serves the client's calls of `name`; `respond` answers the call. */
  registerHandler<K extends keyof SdkPageHandlers>(
      name: K, handler: (data: SdkPageHandlers[K], respond: (answer: unknown) => void) => void): void;
  /** Queues a message as it stands (for tests of the protocol itself). */
  sendRaw(message: SdkMessage): void;
  /** Hands the queue over now. */
  flush(): void;
  /** The client's way in: one JSON object as text. */
  _handleMessageFromObjC(text: string): void;
  /** Whether the page has a handler for the message's name: a JSON text {"result": boolean}. */
  _checkHandler(text: string): string;
}

interface Window {
  TavrinJsBridge: TavrinJsBridgeApi;
  /** The browser call that hands the bridge's queue to the client: a JSON array text. */
  havFetchJSMessage(text: string): void;
}
declare var TavrinJsBridge: TavrinJsBridgeApi;
