// Draws the user's identity as a faint, repeated mark over the page. Runs once per load, after
// the view has set window.watermarkInfo; without it the script does nothing.
(function () {
  if (!window.watermarkInfo) return;

  var WATERMARK_RULES = {
    INVALID: '0',
    PHONE_TAIL_NUMBER: '1',
    PHONE_FULL_NUMBER: '2',
    SECTOR: '3',
    PETNAME: '4',
    EMAIL: '5',
    PHONE_NUM_BASE64: '6'
  };
  var DEFAULT_WATERMARK_RULE = ['2', '4', '5', '3', '6'];
  var MAX_CONTENT_WIDTH = 184;
  var MAX_CONTENT_LINE = 3;
  var config = {
    fontSize: '14px',
    fontFamily: '-apple-system,PingFang SC,Hiragino Sans GB,Microsoft YaHei,Helvetica Neue,Arial,sans-serif',
    color: 'rgba(0, 0, 0, .08)',
    textShadowColor: '#FFFFFF',
    blurLength: 1,
    shadowOffset: 1,
    lineHeight: '20px',
    angle: (30 * Math.PI) / 180
  };

  function font() {
    return config.fontSize + ' ' + config.fontFamily;
  }

  // The first rule of `modes` whose value is a non-empty text gives the line beneath the name.
  function getWaterValue(info, modes) {
    var mobile = info.mobile;
    var byRule = [
      undefined,
      typeof mobile === 'string' ? mobile.slice(-4) : mobile,
      mobile,
      info.sector,
      info.petname,
      info.email,
      undefined
    ];
    var value;
    var key;
    for (var i = 0; i < modes.length; i++) {
      key = modes[i];
      value = byRule[Number(key)];
      if (typeof value === 'string' && value !== '') break;
    }
    return { value: value, key: key };
  }

  var scratch = document.createElement('canvas').getContext('2d');
  function getTextSize(text) {
    scratch.font = font();
    return Math.ceil(scratch.measureText(text).width);
  }

  // Cuts `word` one character at a time from its end, adding `append`, until it fits.
  function getSliceIndex(word, maxLength, options) {
    maxLength = maxLength || MAX_CONTENT_WIDTH;
    var append = (options && options.append) || '';
    var index = word.length;
    var text = word;
    while (index > 1 && getTextSize(text) > maxLength) {
      index -= 1;
      text = word.slice(0, index) + append;
    }
    return { text: text, index: index };
  }

  function formatContents(word, options) {
    if (!word) return [];
    if (!options || !options.wrap) return [word];
    var lines = [];
    var rest = word;
    while (rest && lines.length < MAX_CONTENT_LINE) {
      var cut = getSliceIndex(rest, options.maxWidth);
      if (lines.length === MAX_CONTENT_LINE - 1 && cut.index < rest.length) {
        cut = getSliceIndex(rest, options.maxWidth, { append: '...' });
      }
      lines.push(cut.text);
      rest = rest.slice(cut.index);
    }
    return lines;
  }

  function getContentOffset(contents) {
    var span = document.createElement('span');
    span.id = 'watermark-blank-' + (Date.now() - 1);
    span.style.position = 'absolute';
    span.style.left = '-500px';
    span.style.top = '-500px';
    span.style.font = font();
    span.style.display = 'inline-block';
    span.innerHTML = contents.join('</br>');
    document.body.appendChild(span);
    var size = { width: span.offsetWidth, height: span.offsetHeight };
    document.body.removeChild(span);
    return size;
  }

  function getSingleWatermark(contents) {
    var size = getContentOffset(contents);
    var translateTop = Math.ceil(size.width * Math.sin(config.angle));
    var canvas = document.createElement('canvas');
    canvas.height = size.height + translateTop;
    canvas.width =
      Math.ceil(size.width * Math.cos(config.angle)) + Math.ceil(size.height * Math.sin(config.angle));
    try {
      var ctx = canvas.getContext('2d');
      ctx.textBaseline = 'top';
      ctx.font = font();
      ctx.fillStyle = config.color;
      ctx.shadowColor = config.textShadowColor;
      ctx.shadowBlur = config.blurLength;
      ctx.shadowOffsetX = config.shadowOffset;
      // No canvas has this property, so the shadow has no offset in y.
      ctx.shadowOffsety = config.shadowOffset;
      ctx.translate(0, translateTop);
      ctx.rotate(-config.angle);
      contents.forEach(function (line, index) {
        ctx.fillText(line, 0, 20 * index);
      });
    } catch (e) {
      console.error(e);
    }
    return canvas;
  }

  function getWatermark(callback) {
    var info = window.watermarkInfo;
    var modes = info.watermarkRule || DEFAULT_WATERMARK_RULE;
    var picked = getWaterValue(info, modes);
    var contents = [];
    if (picked.key === WATERMARK_RULES.PHONE_TAIL_NUMBER) {
      contents = [info.name + ' ' + picked.value];
    } else {
      if (info.name) contents.push(info.name);
      contents = contents.concat(
        formatContents(picked.value, { maxWidth: MAX_CONTENT_WIDTH, wrap: picked.key === WATERMARK_RULES.SECTOR })
      );
    }
    var image = new Image();
    image.onload = function () {
      // `config.margin` doesn't exist: the sizes aren't numbers, so the canvas keeps the
      // browser's default of 300 by 150, and the second copy isn't drawn.
      var margin = config.margin;
      var canvas = document.createElement('canvas');
      canvas.setAttribute('width', String(image.width * 2 + margin * 2));
      canvas.setAttribute('height', String(image.height * 2 + margin));
      var ctx = canvas.getContext('2d');
      ctx.drawImage(image, 0, 0);
      ctx.drawImage(image, image.width + margin, image.height + margin * 0.5);
      callback(canvas.toDataURL());
    };
    image.src = getSingleWatermark(contents).toDataURL();
  }

  getWatermark(function (url) {
    var mark = document.createElement('div');
    mark.className = 'tavrin-watermark';
    mark.style.position = 'fixed';
    mark.style.top = '0';
    mark.style.left = '0';
    mark.style.right = '0';
    mark.style.bottom = '0';
    mark.style.pointerEvents = 'none';
    mark.style.background = 'url("' + url + '") repeat';
    // Set on the element, not its style: no effect, the mark stays in document order.
    mark.zIndex = 99999;
    document.body.appendChild(mark);
  });
})();
