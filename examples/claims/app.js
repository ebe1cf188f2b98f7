// An expense claim in two steps, written with Vue 3 against the client's JS SDK: it proves its
// identity with config, takes the receipt from the user's files, and claims the client's back
// button for its own steps.
// @ts-check

/** The signature tnwebui-run's sample core expects under this app's host file's secret
 * ("claims-secret"): tnwebui-run sign --secret claims-secret 7-12 claims-1 1767225600 <address>. */
const IDENTITY = {
  appId: '7-12',
  nonceStr: 'claims-1',
  timestamp: 1767225600,
  signature: '1624f4103ce28d5b436202ee653594d987e5334f9d6f83df7230f1458d6501fa',
};

Vue.createApp({
  data() {
    return {
      step: 1,
      amount: 42.5,
      signedIn: false,
      /** @type {SdkChosenFile | null} */
      receipt: null,
      problem: '',
    };
  },
  mounted() {
    // The client checks the signature against the page's address as it is now: the app's own
    // history entries come after.
    TavrinJsBridge.callHandler('config', {payload: IDENTITY}, (answer) => {
      this.signedIn = TavrinJsBridge.hasCode(answer, 0);
      if (!this.signedIn) this.problem = 'the client refused the app: ' + answer.status.code;
      // The form is an entry of its own too: the bar enables its back button from the window's
      // third entry on (the page, the form, the review).
      history.pushState({step: 1}, '', '#claim');
    });
    TavrinJsBridge.callHandler('ui.setNavigationBarMenu', {payload: {items: []}});
    // The review is an entry of the page's history, so the bar's back button leads back to
    // the form: the app lets the client go back, and follows the history.
    TavrinJsBridge.registerHandler('ui.onHistoryBack', (_data, respond) => {
      respond({data: {result: true}});
    });
    window.addEventListener('popstate', (event) => {
      this.step = event.state && event.state.step === 2 ? 2 : 1;
    });
  },
  methods: {
    review() {
      history.pushState({step: 2}, '', '#review');
      this.step = 2;
    },
    attach() {
      TavrinJsBridge.callHandler('biz.chooseLocalFile', {payload: {max: 1, maxSize: 5 * 1024 * 1024, types: ['pdf', 'png']}},
        (answer) => {
          if (TavrinJsBridge.hasCode(answer, 0)) {
            const files = answer.data.fileList;
            this.receipt = files && files.length ? files[0] : null;
            this.problem = this.receipt ? '' : 'the file was refused';
          } else {
            this.problem = 'no receipt (' + answer.status.code + ')';
          }
        });
    },
  },
}).mount('#app');
