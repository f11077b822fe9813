// What check-pictures runs in a page that is shown in a window of this width. Returns the faults.
(width) => {
  const faults = [];
  const fault = (check, text) => faults.push({check, text: String(text).slice(0, 200)});
  const leastContrast = 4.5;

  const isVisible = (element) => {
    const box = element.getBoundingClientRect();
    return box.width > 0 && box.height > 0 && getComputedStyle(element).visibility !== 'hidden';
  };
  const colour = (text) => (text.match(/[\d.]+/g) || [0, 0, 0, 0]).map(Number);
  const luminance = (rgb) => {
    const [r, g, b] = rgb.slice(0, 3).map((v) => {
      const part = v / 255;
      return part <= 0.03928 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const contrast = (a, b) => {
    const [x, y] = [luminance(a), luminance(b)];
    return (Math.max(x, y) + 0.05) / (Math.min(x, y) + 0.05);
  };
  const mixed = (over, under, opacity) => [0, 1, 2].map((i) => over[i] * opacity + under[i] * (1 - opacity));
  const backgroundOf = (element) => {
    for (let at = element; at; at = at.parentElement) {
      const found = colour(getComputedStyle(at).backgroundColor);
      if (found.length < 4 || found[3] > 0) return found;
    }
    return [255, 255, 255];
  };

  // What a text of a picture stands on: its edge, or all rectangles that it lies in.
  const groundOf = (text, box, rects, svg) => {
    const edge = getComputedStyle(text).stroke;
    if (edge !== 'none') return colour(edge);
    let ground = backgroundOf(svg);
    for (const rect of rects) {
      const b = rect.box;
      if (b.left > box.left + 1 || b.right < box.right - 1 || b.top > box.top + 3 || b.bottom < box.bottom - 3) continue;
      const style = getComputedStyle(rect.element);
      if (style.fill !== 'none') ground = mixed(colour(style.fill), ground, Number(style.opacity));
    }
    return ground;
  };

  const checkTexts = (svg) => {
    const frame = svg.getBoundingClientRect();
    const shown = (selector) => [...svg.querySelectorAll(selector)].filter(isVisible).map((element) => (
      {element, box: element.getBoundingClientRect(), text: element.textContent}));
    const rects = shown('rect');
    const texts = shown('text');
    for (const {element, box, text} of texts) {
      if (box.left < frame.left - 1 || box.right > frame.right + 1 || box.top < frame.top - 1 || box.bottom > frame.bottom + 1)
        fault('outside', text);
      const size = parseFloat(getComputedStyle(element).fontSize) * frame.width / svg.viewBox.baseVal.width;
      if (size < 10.5) fault('small text', `${text}: ${size.toFixed(1)} pixels`);
      const found = contrast(colour(getComputedStyle(element).fill), groundOf(element, box, rects, svg));
      if (found < leastContrast) fault('contrast', `${text}: ${found.toFixed(2)}`);
      if (element.closest('[data-area-of-byte]')) checkFieldOfText(rects, box, text);
    }
    for (let i = 0; i < texts.length; ++i) {
      for (let j = i + 1; j < texts.length; ++j) {
        const [a, b] = [texts[i].box, texts[j].box];
        const across = Math.min(a.right, b.right) - Math.max(a.left, b.left);
        const down = Math.min(a.bottom, b.bottom) - Math.max(a.top, b.top);
        if (across > 1 && down > 3) fault('overlap', `${texts[i].text} | ${texts[j].text}`);
      }
    }
  };

  // The innermost field where a text begins has the whole text.
  const checkFieldOfText = (rects, box, text) => {
    const y = (box.top + box.bottom) / 2;
    const around = rects.filter(({element, box: b}) => element.dataset.bytes !== undefined &&
      b.left <= box.left && b.right >= box.left && b.top <= y && b.bottom >= y);
    const field = around.reduce((least, one) => (
      least === null || one.box.width * one.box.height < least.box.width * least.box.height ? one : least), null);
    if (field && (field.box.right < box.right - 1 || field.box.bottom < box.bottom - 2)) fault('cut', text);
  };

  const checkBars = (svg) => {
    for (const bar of svg.querySelectorAll('[data-fill]')) {
      const {base, full} = bar.parentElement.dataset;
      const box = bar.getBBox();
      const wanted = Number(bar.dataset.fill) * Number(full);
      if (Math.abs(box.height - wanted) > 0.5 || Math.abs(box.y + box.height - Number(base)) > 0.5)
        fault('bar', `${bar.dataset.fill} is ${box.height.toFixed(2)} pixels high, not ${wanted.toFixed(2)}`);
      const found = contrast(colour(getComputedStyle(bar).fill), colour(getComputedStyle(document.documentElement)
        .getPropertyValue('--empty').replace('#', '').match(/../g).map((hex) => parseInt(hex, 16)).join(' ')));
      if (box.height > 0 && found < 2.9) fault('bar colour', `${bar.dataset.fill}: ${found.toFixed(2)}`);
    }
    for (const group of svg.querySelectorAll('[data-columns]')) checkColumns(group);
  };

  // A column is filled up to just below its value, and no further.
  const checkColumns = (group) => {
    const paths = [...group.querySelectorAll('path:not(.t)')];
    const [x, step, base, full] = ['x', 'step', 'base', 'full'].map((name) => Number(group.dataset[name]));
    group.dataset.columns.split(' ').forEach((value, i) => {
      const height = Number(value) * full;
      const isFilled = (up) => paths.some((path) => path.isPointInFill(new DOMPoint(x + i * step + step * 0.35, base - up)));
      if ((height > 1 && !isFilled(height - 0.5)) || isFilled(height + 0.5))
        fault('column', `column ${i} is not ${height.toFixed(1)} pixels high`);
    });
  };

  const checkAreas = (svg) => {
    for (const group of svg.querySelectorAll('[data-area-of-byte]')) {
      const boxes = [...group.children].filter((child) => child.dataset.bytes !== undefined).map((field) => {
        const box = field.getBBox();
        const wanted = Number(field.dataset.bytes) * Number(group.dataset.areaOfByte);
        if (Math.abs(box.width * box.height - wanted) > Math.max(2, 0.01 * wanted))
          fault('area', `${field.textContent}: ${(box.width * box.height).toFixed(0)}, not ${wanted.toFixed(0)}`);
        return box;
      });
      boxes.forEach((a, i) => boxes.slice(i + 1).forEach((b) => {
        const across = Math.min(a.x + a.width, b.x + b.width) - Math.max(a.x, b.x);
        const down = Math.min(a.y + a.height, b.y + b.height) - Math.max(a.y, b.y);
        if (across > 0.1 && down > 0.1) fault('area', 'fields overlap');
      }));
    }
  };

  const checkPage = () => {
    const words = 'p,td,th,li,h1,h2,h3,dt,dd,summary,a,code,b,bdi,span,small,footer';
    for (const element of document.querySelectorAll(words)) {
      if (!isVisible(element) || !element.textContent.trim()) continue;
      const box = element.getBoundingClientRect();
      if (!element.closest('.tw') && (box.right > width + 1 || box.left < -1)) fault('outside', element.textContent);
      const found = contrast(colour(getComputedStyle(element).color), backgroundOf(element));
      if (found < leastContrast) fault('contrast', `${element.textContent}: ${found.toFixed(2)}`);
      if (parseFloat(getComputedStyle(element).fontSize) < 10.5) fault('small text', element.textContent);
    }
  };

  for (const svg of document.querySelectorAll('svg')) {
    if (!isVisible(svg)) continue;
    checkTexts(svg);
    checkBars(svg);
    checkAreas(svg);
  }
  checkPage();
  const wide = Math.max(document.documentElement.scrollWidth, document.documentElement.getBoundingClientRect().width);
  if (wide > width) fault('scroll', `${wide} pixels`);
  for (const entry of performance.getEntriesByType('resource')) fault('resource', entry.name);
  return faults;
}
