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

/** An answer's status: its code and the message its template writes. */
interface SdkStatus<Code extends number = number, Message extends string = 'ok'> {
  code: Code;
  message: Message;
}

/** The templates' `"meta": {}` and `"data": {}`: an object with nothing in it. */
type SdkNothing = Record<string, never>;

/**
 * The answer of templates 1 to 9 and 14: its status (`message` "ok" whatever the code), an
 * empty `meta`, and the template's `data`.
 */
interface SdkEnvelope<Code extends number = number, Data = SdkNothing> {
  status: SdkStatus<Code>;
  meta: SdkNothing;
  data: Data;
}

/** The answer of templates 11, 12 and 13: a status and nothing else. */
interface SdkStatusOnly<Code extends number = number, Message extends string = 'ok'> {
  status: SdkStatus<Code, Message>;
}

/** Template 12: "not found", with an empty message. */
type SdkNotFound = SdkStatusOnly<404, ''>;

/**
 * The status codes the module itself writes: 0 success; 400 a save dialog's result without
 * `fileName` or `filePath`; 404 the host's result is no JSON (or null), or a copy failed;
 * 41 a download's file could not be opened; 31 an upload's progress is missing; -6 a voice
 * result is no JSON, or the window is gone; -7 an empty or too long file choice; -8 a file's
 * size can't be read; 9106923 a required payload key is missing or no string, or a service is
 * missing; 89234 the app code's answer doesn't parse; 62524 the signature is rejected; 6254244
 * the signature check's answer is malformed.
 */
type SdkModuleCode = 0 | 400 | 404 | 41 | 31 | -6 | -7 | -8 | 9106923 | 89234 | 62524 | 6254244;

/**
 * A code that comes from the business core or the host and stands as it is (an error's sub
 * code, else its code; a player's or an upload's own code): any number.
 */
type SdkForeignCode = number;

/** Kept for pages written against the first declarations: any template's answer. */
interface SdkAnswer<Data = {}> {
  status: {code: number; message: string};
  meta?: {};
  data?: Data;
}

/** A file of this machine as the SDK names it: "res://local/" and the path with "/". */
type SdkLocalId = `res://local/${string}`;

/** The progress of a transfer, sent to the page's handler under the transfer call's id. */
interface SdkProgress { payload: {localId: SdkLocalId; total: number; loaded: number} }

/** An image of media.chooseImage; the optional keys come when the host gave them. */
interface SdkChosenImage {
  localId: SdkLocalId;
  path: SdkLocalId;
  /** The thumbnail as a data address. */
  base64: string;
  type?: string;
  size?: number;
  name?: string;
}

/** A video of media.chooseVideo (one answer per video). */
interface SdkChosenVideo {
  localId: SdkLocalId;
  path: SdkLocalId;
  /** The file's extension, with its point (".mp4"). */
  type: string;
  /** Seconds. */
  duration: number;
  size?: number;
  height?: number;
  width?: number;
}

/** A file of biz.chooseLocalFile. */
interface SdkChosenFile {
  localId: SdkLocalId;
  /** The extension, without its point ("pdf"). */
  type: string;
  size: number;
  name?: string;
}

/** A member of biz.getSectorMember. */
interface SdkSectorMember { name: string; staffId: string; avatar: string }

/**
 * What a chooser of the client raised (biz.chooseContacts, biz.chooseDepartments): its own
 * JSON as it stands, with no envelope; its shape is the client's, not the module's.
 */
type SdkChooserResult = unknown;

/**
 * Each name: `payload` is what the call's `data.payload` holds; `answer` what its callback
 * receives (`never`: no answer comes), one member per template and code that can arrive.
 * Numbers after "template" name the envelope's text. An answer whose text is no JSON never
 * reaches the callback (the bridge can't parse it); where a name has such an answer, it is
 * said.
 */
interface SdkFunctions {
  /** Checks the page's signature with the business core; leaves the app's identity in the
   * SDK whatever the answer (template 1: 0, 62524, 6254244 or the core's error). */
  'config': {
    payload: {appId?: string; nonceStr?: string; signature?: string; timestamp?: number};
    answer: SdkEnvelope<0 | 62524 | 6254244 | SdkForeignCode>;
  };
  /** A one-time code for the app "oid-id" (template 3: 0, 89234 with what the bytes held,
   * or the core's error with an empty code); no answer without the core. */
  'biz.getAuthCode': {
    payload: {appId?: string};
    answer: SdkEnvelope<0 | 89234 | SdkForeignCode, {authCode: string}>;
  };
  /** The menu is not shown; always code 0 (template 14). */
  'ui.setNavigationBarMenu': {payload: {items?: unknown[]}; answer: SdkEnvelope<0>};
  /** Answers code 0 (template 14), then closes the window. */
  'ui.closeWindow': {payload: {}; answer: SdkEnvelope<0>};
  /** Not a call: the page's answer to the client's back command (see SdkPageHandlers). */
  'ui.onHistoryBack': {payload: {}; answer: never};
  /** The visitor's tokens (template 15: code 0, message "OK"; a token the core didn't give
   * is ""). */
  'internal.biz.getVisitorToken': {
    payload: {};
    answer: {
      status: SdkStatus<0, 'OK'>;
      meta: SdkNothing;
      data: {
        deviceId: string;
        center: {userId: string; token: string; domain: 'tncenter'};
        org: {userId: {oid: number; uid: number}; token: string; domain: `tn.org.${number}`};
      };
    };
  };
  /** Up to `count` images (template 5): 0 with the images, -7 with none. When the host's
   * answer is no JSON the text reads `"tempFiles":}}` and never arrives. */
  'media.chooseImage': {
    payload: {count?: number};
    answer: SdkEnvelope<0, {tempFiles: SdkChosenImage[]}> | SdkEnvelope<-7, {tempFiles: []}>;
  };
  /** Opens the contact chooser; the answer is the chooser's own JSON. */
  'biz.chooseContacts': {payload: Record<string, unknown>; answer: SdkChooserResult};
  /** Shows `current` (template 1: 0 once the host has fetched it, 404 when the host's answer
   * is no JSON). */
  'media.previewImage': {payload: {urls?: string[]; current?: string}; answer: SdkEnvelope<0 | 404>};
  /** Opens a person's card; template 12 when the id can't be converted, else no answer. */
  'biz.opencontactscard': {payload: {staffId?: string}; answer: SdkNotFound};
  /** Videos (template 6), one answer per video, `data` the video. `maxDuration` is cut to
   * 300. When the host's answer is no JSON the text reads `"data":}` and never arrives. */
  'media.chooseVideo': {
    payload: {sourceType?: string[]; compressed?: boolean; maxDuration?: number};
    answer: SdkEnvelope<0, SdkChosenVideo>;
  };
  /** Opens the viewer and answers at once (template 9). */
  'media.previewVideo': {payload: {url?: string}; answer: SdkEnvelope<0, {endTime: 0; finished: true}>};
  /** Has the host fetch `url` to a local file (template 8): 0 with its id; 404 or 9106923
   * with an empty one. */
  'utils.uploadFile': {
    payload: {url: string};
    answer: SdkEnvelope<0, {localId: SdkLocalId}> | SdkEnvelope<404 | 9106923, {localId: ''}>;
  };
  /**
   * Uploads a local file to an S3 bucket; progress goes to "utils.onUploadProgress".
   * The answer is template 10, whose brace closes `status` early: on its own the text is no
   * valid JSON; inside the bridge's message it parses, `responseData` then holds only
   * `status`, and "meta" and "data" land beside `responseId`. The code: 9106923 or -8 at
   * once, 31 for a progress without numbers, else the host's own code once all is sent.
   */
  'utils.uploadFileToS3': {
    payload: {
      localId: SdkLocalId; endpoint: string; accessKey: string; secretKey: string;
      sessionToken?: string; region: string; bucket: string; object: string;
    };
    answer: SdkStatusOnly<9106923 | -8 | 31 | SdkForeignCode>;
  };
  /** Downloads `url` (an address with a query) into the web cache; progress goes to
   * "utils.onDownloadProgress" (template 8: 0 with its id; 41 or 9106923 with an empty one). */
  'utils.downloadFile': {
    payload: {url: string};
    answer: SdkEnvelope<0, {localId: SdkLocalId}> | SdkEnvelope<41 | 9106923, {localId: ''}>;
  };
  /** Saves a downloaded file where the user says; only with `target` holding "local"
   * (template 2: 0, 400, 404 or 9106923). */
  'utils.saveFile': {
    payload: {url: SdkLocalId; target?: string[]};
    answer: SdkEnvelope<0 | 400 | 404 | 9106923>;
  };
  /** Plays a voice file; playing events go to "media.onVoicePlay" and
   * "media.onVoicePlayEnd" (template 2: the player's code, -6, or 9106923). */
  'media.playVoice': {payload: {localId: SdkLocalId}; answer: SdkEnvelope<-6 | 9106923 | SdkForeignCode>};
  'media.pauseVoice': {payload: {localId: SdkLocalId}; answer: SdkEnvelope<-6 | 9106923 | SdkForeignCode>};
  'media.stopVoice': {payload: {localId: SdkLocalId}; answer: SdkEnvelope<-6 | 9106923 | SdkForeignCode>};
  /** Registers for playing events, and stops what is playing (the host's action is the
   * stop's; template 2 as media.stopVoice). */
  'media.onVoicePlay': {payload: {localId: SdkLocalId}; answer: SdkEnvelope<-6 | 9106923 | SdkForeignCode>};
  /** A name for the page's handler; the call does nothing. */
  'media.onVoicePlayEnd': {payload: {}; answer: never};
  /** A name for the page's handler; the call does nothing. */
  'utils.onUploadProgress': {payload: {}; answer: never};
  /** A name for the page's handler; the call does nothing. */
  'utils.onDownloadProgress': {payload: {}; answer: never};
  /** Shares a link (template 2: 0 or 404, possibly twice; 9106923 without title, content or
   * url). */
  'utils.share': {
    payload: {title: string; content: string; image?: string; url: string};
    answer: SdkEnvelope<0 | 404 | 9106923>;
  };
  /** Opens a map at the place (template 2: 0, or 404 without a payload object). */
  'device.displayLocation': {
    payload: {coordinateType?: string; latitude?: string | number; longitude?: string | number;
              name?: string; address?: string};
    answer: SdkEnvelope<0 | 404>;
  };
  /** Opens a group's chat (template 11: 0 "ok", or 404 "" when the host's answer is no
   * JSON). */
  'biz.openGroupChat': {payload: {groupId?: string}; answer: SdkStatusOnly<0> | SdkNotFound};
  /** The same as "biz.opencontactscard". */
  'biz.openContactsCard': {payload: {staffId?: string}; answer: SdkNotFound};
  /** Local files (template 4): 0 with the files (null when every file was refused); -7 for
   * an empty or too long choice and 404 when the host's answer is no JSON, both with none.
   * Files above `maxSize` bytes are refused, and `maxSize` is 0 unless given: pass it. */
  'biz.chooseLocalFile': {
    payload: {max?: number; maxSize?: number; maxTip?: string; types?: string[]};
    answer: SdkEnvelope<0, {fileList: SdkChosenFile[] | null}> | SdkEnvelope<-7 | 404, {fileList: []}>;
  };
  /** The members of sectors (template 7: `data` the members; template 12 when the host's
   * answer is no list). */
  'biz.getSectorMember': {
    payload: {sectors?: string[]};
    answer: SdkEnvelope<0, SdkSectorMember[]> | SdkNotFound;
  };
  /** The contact chooser for departments; the chooser's own JSON. */
  'biz.chooseDepartments': {payload: Record<string, unknown>; answer: SdkChooserResult};
}

/** A name the client doesn't serve is answered with template 13. */
type SdkUnknownAnswer = SdkStatusOnly<0>;

/**
 * The handlers a page registers for the client's calls: `data` is what each receives, and
 * `answer` what its `respond` may send back (`never`: the client takes no answer).
 */
interface SdkPageHandlers {
  /**
   * The back command. The client first asks `_checkHandler`: a page without this handler
   * gets the client's back (`tnpc.goback()`). A page with it has claimed the command: the
   * client goes back only when it answers `{data: {result: true}}`; any other answer, or
   * none, leaves the page where it is.
   */
  'ui.onHistoryBack': {data: {meta: SdkNothing; payload: SdkNothing}; answer: {data: {result: boolean}}};
  'utils.onDownloadProgress': {data: SdkProgress; answer: never};
  'utils.onUploadProgress': {data: SdkProgress; answer: never};
  /** `currentTime` holds the time that remains, as the client fills it. */
  'media.onVoicePlay': {data: {payload: {localId: SdkLocalId; currentTime: number}}; answer: never};
  'media.onVoicePlayEnd': {data: {payload: {localId: SdkLocalId}}; answer: never};
}

/** A call's `data`: `payload` may be left out only where none of its keys is required. */
type SdkCallData<Payload> = {} extends Payload
  ? {meta?: {}; payload?: Payload}
  : {meta?: {}; payload: Payload};

/** The members of an answer union `A` whose status code can be `C`, that code fixed. */
type SdkWithCode<A, C extends number> = A extends {status: {code: infer K}}
  ? (C extends K ? A & {status: {code: C}} : never)
  : never;

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
  /** Calls a name the declarations don't know, as it stands (for tests of the protocol: the
   * client answers a name it doesn't serve with a status only). */
  callUnknown(name: string, data?: unknown, callback?: (answer: SdkUnknownAnswer) => void): void;
  /**
   * Whether `answer` has the status code `code`, narrowing it to the answers of that code:
   * `if (TavrinJsBridge.hasCode(answer, 0)) answer.data.localId` type-checks where
   * `answer.status.code === 0` alone does not narrow `answer`.
   */
  hasCode<A extends {status: {code: number}}, C extends A['status']['code']>(
      answer: A, code: C): answer is SdkWithCode<A, C>;
  /** Serves the client's calls of `name`; `respond` answers the call. */
  registerHandler<K extends keyof SdkPageHandlers>(
      name: K, handler: (data: SdkPageHandlers[K]['data'],
                         respond: (answer: SdkPageHandlers[K]['answer']) => void) => void): void;
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
