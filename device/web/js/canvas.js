/** A canvas as sharp as the screen, in the page's colours. */

const scheme = matchMedia('(prefers-color-scheme: dark)');

export class Canvas {
  constructor(element) {
    this.element = element;
    this.context = element.getContext('2d');
    this.colours = {};
    scheme.addEventListener('change', () => {
      this.colours = {};
    });
  }

  /** A colour of the style sheet: "sky" is --sky. */
  colour(name) {
    this.colours[name] ??= getComputedStyle(this.element).getPropertyValue(`--${name}`).trim();
    return this.colours[name];
  }

  /**
   * Empties the canvas.
   * @returns {{context: CanvasRenderingContext2D, width: number, height: number}} CSS pixels
   */
  begin() {
    const { clientWidth: width, clientHeight: height } = this.element;
    const ratio = window.devicePixelRatio || 1;
    const [w, h] = [Math.round(width * ratio), Math.round(height * ratio)];
    if (this.element.width !== w || this.element.height !== h) {
      this.element.width = w;
      this.element.height = h;
    }
    this.context.setTransform(ratio, 0, 0, ratio, 0, 0);
    this.context.clearRect(0, 0, width, height);
    this.context.font = '12px system-ui, sans-serif';
    return { context: this.context, width, height };
  }
}

/** Adds an outline through points ([x, y], pixels) to the present path. */
export function trace(context, points) {
  points.forEach(([x, y], i) => (i === 0 ? context.moveTo(x, y) : context.lineTo(x, y)));
}
