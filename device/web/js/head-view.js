/** What the head sees: ground, horizon and people in perspective. */

import { Canvas, trace } from './canvas.js';
import {
  figureOf,
  groundAt,
  groundGrid,
  horizonHeight,
  makeCamera,
  niceStep,
  project,
  projectSegment,
  unitVector,
} from './geometry.js';

const FAR = 300; // metres
const GRID_LINES = 40; // to each side
const LIKELY = 2; // deviations

export class HeadView {
  constructor(element, store) {
    this.canvas = new Canvas(element);
    this.store = store;
    store.on('model', ({ head }) => {
      element.style.aspectRatio = String(head.aspect);
    });
  }

  draw() {
    const { model, head } = this.store;
    const view = this.canvas.begin();
    if (!model || !head) return;
    const position = { x: 0, y: 0, z: model.mast_height_m };
    const camera = makeCamera(position, head, head.hfov, head.vfov);
    const toPixels = ({ x, y }) => [((x + 1) / 2) * view.width, ((1 - y) / 2) * view.height];
    this.drawGround(view, camera, toPixels);
    this.drawPeople(view, camera, toPixels);
    this.drawAim(view, camera, toPixels);
    this.drawCross(view);
  }

  drawGround({ context, width, height }, camera, toPixels) {
    const [, horizon] = toPixels({ x: 0, y: horizonHeight(camera) });
    const top = Math.min(Math.max(horizon, 0), height);
    context.fillStyle = this.canvas.colour('sky');
    context.fillRect(0, 0, width, top);
    context.fillStyle = this.canvas.colour('earth');
    context.fillRect(0, top, width, height - top);

    const middle = groundAt(camera, { x: 0, y: 0 }, FAR);
    const distance = Math.hypot(middle.x, middle.y, camera.position.z);
    const step = niceStep(distance * camera.tanX * 0.2);
    context.strokeStyle = this.canvas.colour('grid');
    context.lineWidth = 1;
    context.beginPath();
    for (const [from, to] of groundGrid(middle, step, GRID_LINES)) {
      const line = projectSegment(camera, from, to);
      if (line) trace(context, line.map(toPixels));
    }
    context.stroke();
    if (horizon > 0 && horizon < height) {
      context.strokeStyle = this.canvas.colour('muted');
      context.beginPath();
      trace(context, [
        [0, horizon],
        [width, horizon],
      ]);
      context.stroke();
    }
  }

  drawPeople(view, camera, toPixels) {
    const { people, nearest, isSteering } = this.store;
    const farFirst = [...people].sort((a, b) => b.distance - a.distance);
    for (const person of farFirst) {
      const figure = figureOf(camera, person);
      if (!figure) continue;
      const isMarked = person.id === nearest?.id;
      this.drawFigure(view, figure, toPixels, isMarked);
      if (isMarked) this.drawMark(view, figure, toPixels, isSteering ? 'followed' : 'nearest');
    }
  }

  drawFigure({ context, height }, { head, headRadius, body }, toPixels, isMarked) {
    context.fillStyle = this.canvas.colour(isMarked ? 'target' : 'person');
    context.beginPath();
    trace(context, body.map(toPixels));
    context.closePath();
    const [x, y] = toPixels(head);
    const radius = (headRadius * height) / 2;
    context.moveTo(x + radius, y);
    context.arc(x, y, radius, 0, 2 * Math.PI);
    context.fill();
  }

  drawMark({ context, height }, { head, headRadius, body }, toPixels, word) {
    const points = [...body.map(toPixels), toPixels(head)];
    const margin = Math.max(4, headRadius * height * 0.5);
    const xs = points.map(([x]) => x);
    const ys = points.map(([, y]) => y);
    const left = Math.min(...xs) - margin;
    const top = Math.min(...ys) - margin - (headRadius * height) / 2;
    const right = Math.max(...xs) + margin;
    const bottom = Math.max(...ys) + margin;
    context.strokeStyle = this.canvas.colour('target');
    context.lineWidth = 2;
    context.strokeRect(left, top, right - left, bottom - top);
    context.fillStyle = this.canvas.colour('target');
    context.fillText(word, left, Math.max(top - 4, 12));
  }

  /** What the head is led to, how large that is, and how sure. */
  drawAim({ context, width }, camera, toPixels) {
    const aim = this.store.thought?.aim;
    if (!aim) return;
    const { x: right, y: ahead, z: up } = unitVector(aim);
    const { position } = camera;
    const middle = project(camera, {
      x: position.x + FAR * right,
      y: position.y + FAR * ahead,
      z: position.z + FAR * up,
    });
    if (!middle) return;
    const [x, y] = toPixels(middle);
    const scale = width / this.store.head.hfov; // pixels a degree
    context.strokeStyle = this.canvas.colour('thought');
    context.lineWidth = 2;
    context.setLineDash([5, 4]);
    context.strokeRect(
      x - (aim.width * scale) / 2,
      y - (aim.height * scale) / 2,
      aim.width * scale,
      aim.height * scale,
    );
    context.setLineDash([]);
    context.beginPath();
    context.arc(x, y, Math.max(LIKELY * aim.deviation * scale, 3), 0, 2 * Math.PI);
    context.stroke();
  }

  drawCross({ context, width, height }) {
    const [x, y] = [width / 2, height / 2];
    context.strokeStyle = this.canvas.colour('head');
    context.lineWidth = 1.5;
    context.beginPath();
    trace(context, [
      [x - 10, y],
      [x + 10, y],
    ]);
    trace(context, [
      [x, y - 10],
      [x, y + 10],
    ]);
    context.stroke();
  }
}
