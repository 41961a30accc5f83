/** The last minute of target, head and what it was led to: pan above, tilt below. */

import { Canvas } from './canvas.js';
import { rangeOf } from './range.js';
import { HISTORY } from './store.js';

const LEFT = 44; // pixels for the scale
const BOTTOM = 20;
const GAP = 14;
const JUMP = 180; // degrees; a line is broken where pan passes from one end to the other

export class HistoryPlot {
  constructor(element, store) {
    this.canvas = new Canvas(element);
    this.store = store;
  }

  draw() {
    const view = this.canvas.begin();
    const { heads, targets, aims } = this.store;
    if (!heads.length) return;
    const now = heads[heads.length - 1].time;
    const height = (view.height - BOTTOM - GAP) / 2;
    ['pan', 'tilt'].forEach((axis, i) => {
      const values = [...heads, ...targets, ...aims].map((item) => item[axis]);
      const box = {
        left: LEFT,
        top: 4 + i * (height + GAP),
        width: view.width - LEFT - 4,
        height: height - 4,
        now,
        ...rangeOf(values),
      };
      this.drawScale(view.context, box, axis);
      this.drawPoints(view.context, box, axis, targets, 'target');
      this.drawPoints(view.context, box, axis, aims, 'thought');
      this.drawHead(view.context, box, axis);
    });
    this.drawTimes(view);
  }

  x(box, time) {
    return box.left + ((time - box.now + HISTORY) / HISTORY) * box.width;
  }

  y(box, value) {
    return box.top + ((box.high - value) / (box.high - box.low)) * box.height;
  }

  drawScale(context, box, axis) {
    context.lineWidth = 1;
    context.textAlign = 'right';
    for (let value = box.low; value <= box.high + box.step / 2; value += box.step) {
      const y = this.y(box, value);
      context.strokeStyle = this.canvas.colour('line');
      context.beginPath();
      context.moveTo(box.left, y);
      context.lineTo(box.left + box.width, y);
      context.stroke();
      context.fillStyle = this.canvas.colour('muted');
      context.fillText(`${Math.round(value * 10) / 10}°`, box.left - 6, y + 4);
    }
    context.textAlign = 'left';
    context.fillStyle = this.canvas.colour('text');
    context.fillText(axis, box.left + 6, box.top + 14);
  }

  drawPoints(context, box, axis, points, colour) {
    context.fillStyle = this.canvas.colour(colour);
    for (const point of points) {
      if (point.time < box.now - HISTORY) continue;
      context.fillRect(this.x(box, point.time) - 1, this.y(box, point[axis]) - 1, 2.5, 2.5);
    }
  }

  drawHead(context, box, axis) {
    context.strokeStyle = this.canvas.colour('head');
    context.lineWidth = 1.75;
    context.beginPath();
    let before = null;
    for (const head of this.store.heads) {
      const isBroken = before === null || Math.abs(head[axis] - before) > JUMP;
      const point = [this.x(box, head.time), this.y(box, head[axis])];
      if (isBroken) context.moveTo(...point);
      else context.lineTo(...point);
      before = head[axis];
    }
    context.stroke();
  }

  drawTimes({ context, width, height }) {
    context.fillStyle = this.canvas.colour('muted');
    context.textAlign = 'center';
    for (const seconds of [60, 45, 30, 15]) {
      const x = LEFT + (1 - seconds / HISTORY) * (width - LEFT - 4);
      context.fillText(`-${seconds} s`, Math.max(x, LEFT), height - 5);
    }
    context.textAlign = 'right';
    context.fillText('now', width - 4, height - 5);
    context.textAlign = 'left';
  }
}
