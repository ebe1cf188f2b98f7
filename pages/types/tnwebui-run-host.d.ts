// The host file of tnwebui-run (--host FILE): what the host and the business core answer a
// light app. Every key is optional; tnwebui-run refuses a key not declared here and a value of
// another type, naming it. Paths of files are taken beside the host file when relative.

interface TnwebuiRunHostFile {
  /** A JSON schema or editor hint; not read. */
  $schema?: string;
  /** The user the app runs for. */
  user?: {
    /** The organisation (default 7). */
    orgId?: number;
    /** The account's key (default "account-42"). */
    account?: string;
    /** The device's id in the visitor token (default "device-0001"). */
    deviceId?: string;
    /** The client's web domain (default "intra.example.com"). */
    webDomain?: string;
  };
  /** The secret that "config" signatures are checked with (default "sample-app-secret"). */
  secret?: string;
  /** What the user picks in the client's choosers. */
  chooser?: {
    /** Files for media.chooseImage (default: a 320x240 PNG made for the run). */
    images?: string[];
    /** Files for media.chooseVideo (default: a small file made for the run). */
    videos?: string[];
    /** Files for biz.chooseLocalFile (default: a small PDF made for the run). */
    files?: string[];
    /** The contact chooser's result, as the client raises it (default: Bob). */
    contacts?: TnwebuiRunChooserResult;
    /** The department chooser's result (default: the sector "os_sales"). */
    departments?: TnwebuiRunChooserResult;
  };
  /** The loopback download server, at http://127.0.0.1:<port>/<path>. */
  server?: {
    /** Its port (default 0: a free one, which the app can't know). */
    port?: number;
    /** What it serves, by path ("/files/report.pdf"); replaces the default file. */
    files?: Record<string, TnwebuiRunServedFile>;
  };
  /** Voice lengths in seconds by file name; a WAVE file's header gives it otherwise. */
  voices?: Record<string, number>;
  /** Whether the rights rule lets every page's business actions reach the business core
   * (default false). A light window's classic actions get no answer there: there is no key
   * for their answers ("actions" is refused). */
  allowAnyPage?: boolean;
}

/** One served file: the bytes of `file`, or `size` bytes of a pattern; `slow` sends 16 KiB
 * every 20 ms, so that progress shows. */
type TnwebuiRunServedFile =
  | {file: string; size?: never; slow?: boolean}
  | {size: number; file?: never; slow?: boolean};

/** What the client's contact and department choosers raise as "tn.onchooseresult". */
interface TnwebuiRunChooserResult {
  users: Array<{staffId: string; name: string}>;
  sectors?: Array<{sectorId: string}>;
}
