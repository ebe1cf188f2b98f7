// Vue's global build, as the page loads it (vendor/vue.global.prod.js).
declare const Vue: typeof import('vue');
