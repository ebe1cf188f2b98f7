// The sample pages' side of the demo and the tests: each page keeps what it found in
// `window.results` (read over DevTools; `ready` set once its script has run, `success` its
// own verdict), and some offer steps that the demo starts by script.

interface Window {
  results: any;
  /** sdk.html: runs `config` with the signature a page's server would give. */
  runConfig(signature: string): void;
  /** windows.html: the first and the remaining window commands. */
  runFirst(): void;
  runRest(): void;
  /** transfers.html: starts the download and the uploads against the demo's server. */
  startTransfers(...args: unknown[]): void;
  /** tnmain.html: the sample main page's hooks for the client's dialogs. */
  tnMain: any;
  /** csp pages: set by an inline script when the page's policy lets it run. */
  inlineRan?: boolean;
  /** choosers.html: the file, image, video and contact choosers, one after the other. */
  runChoosers(): Promise<unknown>;
  /** conformance.html: every SDK name with what the demo gives; the close comes last. */
  runAll(given: any): Promise<unknown>;
  runClose(): void;
  /** steady.html: makes `count` synchronous calls and keeps the slowest one's milliseconds. */
  measure(count: number): unknown;
  keepCalling(ms: number): void;
  summary(): unknown;
  /** conformance.html: resolves the wait for the end of a voice. */
  onVoiceEnd?: (value?: unknown) => void;
  /** personselect.html: the person picked, and where an entry stands on the page. */
  chosen: unknown;
  where(id: string): unknown;
  /** timeline.html: draws a demo trace (JSON lines), `part` first. */
  showTrace(text: string, part?: string): void;
  /** bench-window.html: calls the core `perSecond` times a second (0 stops), and one round trip. */
  load(perSecond: number): void;
  roundTrip(): Promise<boolean>;
}
