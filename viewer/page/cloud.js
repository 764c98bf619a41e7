'use strict';
// The point cloud in WebGL: points as the module computes them (x right,
// y down, z away from the camera, metres), coloured by the module's colour
// bar, turned with the mouse about a point in front of the camera.

const CLOUD_VERTEX = `
attribute vec3 position;
attribute vec3 colour;
uniform mat4 transform;
varying vec3 vColour;
void main() {
  gl_Position = transform * vec4(position.x, -position.y, -position.z, 1.0);
  gl_PointSize = 2.0;
  vColour = colour;
}`;

const CLOUD_FRAGMENT = `
precision mediump float;
varying vec3 vColour;
void main() { gl_FragColor = vec4(vColour, 1.0); }`;

function multiply(a, b) {
  const out = new Float32Array(16);
  for (let c = 0; c < 4; ++c) {
    for (let r = 0; r < 4; ++r) {
      let sum = 0;
      for (let k = 0; k < 4; ++k) sum += a[k * 4 + r] * b[c * 4 + k];
      out[c * 4 + r] = sum;
    }
  }
  return out;
}

function perspective(fovy, aspect, near, far) {
  const f = 1 / Math.tan(fovy / 2);
  const m = new Float32Array(16);
  m[0] = f / aspect; m[5] = f; m[10] = (far + near) / (near - far); m[11] = -1; m[14] = 2 * far * near / (near - far);
  return m;
}

function translation(x, y, z) {
  const m = new Float32Array([1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1]);
  m[12] = x; m[13] = y; m[14] = z;
  return m;
}

function rotationX(a) {
  const c = Math.cos(a), s = Math.sin(a);
  return new Float32Array([1, 0, 0, 0, 0, c, s, 0, 0, -s, c, 0, 0, 0, 0, 1]);
}

function rotationY(a) {
  const c = Math.cos(a), s = Math.sin(a);
  return new Float32Array([c, 0, -s, 0, 0, 1, 0, 0, s, 0, c, 0, 0, 0, 0, 1]);
}

class CloudView {
  constructor(canvas) {
    this.canvas = canvas;
    this.gl = canvas.getContext('webgl', { antialias: false, preserveDrawingBuffer: true });
    this.count = 0;
    this.reset();
    if (!this.gl) return;
    const gl = this.gl;
    const program = gl.createProgram();
    for (const [type, source] of [[gl.VERTEX_SHADER, CLOUD_VERTEX], [gl.FRAGMENT_SHADER, CLOUD_FRAGMENT]]) {
      const shader = gl.createShader(type);
      gl.shaderSource(shader, source);
      gl.compileShader(shader);
      gl.attachShader(program, shader);
    }
    gl.linkProgram(program);
    this.program = program;
    this.positionBuffer = gl.createBuffer();
    this.colourBuffer = gl.createBuffer();
    this.positionAt = gl.getAttribLocation(program, 'position');
    this.colourAt = gl.getAttribLocation(program, 'colour');
    this.transformAt = gl.getUniformLocation(program, 'transform');
    this.listen();
  }

  get available() { return !!this.gl; }

  reset() {
    this.yaw = 0;
    this.pitch = 0;
    this.distance = 2.0;  // the scene's middle lies about 2 m out
  }

  listen() {
    let last = null;
    this.canvas.addEventListener('pointerdown', (e) => { last = [e.clientX, e.clientY]; this.canvas.setPointerCapture(e.pointerId); });
    this.canvas.addEventListener('pointerup', () => { last = null; });
    this.canvas.addEventListener('pointermove', (e) => {
      if (!last) return;
      this.yaw += (e.clientX - last[0]) * 0.01;
      this.pitch = Math.max(-1.5, Math.min(1.5, this.pitch + (e.clientY - last[1]) * 0.01));
      last = [e.clientX, e.clientY];
      this.draw();
    });
    this.canvas.addEventListener('wheel', (e) => {
      e.preventDefault();
      this.distance = Math.max(0.2, Math.min(20, this.distance * Math.exp(e.deltaY * 0.001)));
      this.draw();
    }, { passive: false });
  }

  // points: Float32Array of x, y, z; colourOf(z) gives [r, g, b] in 0..1.
  update(points, colourOf) {
    if (!this.gl) return;
    const gl = this.gl;
    const count = points.length / 3;
    const colours = new Float32Array(count * 3);
    for (let i = 0; i < count; ++i) {
      const c = colourOf(points[i * 3 + 2]);
      colours[i * 3] = c[0]; colours[i * 3 + 1] = c[1]; colours[i * 3 + 2] = c[2];
    }
    gl.bindBuffer(gl.ARRAY_BUFFER, this.positionBuffer);
    gl.bufferData(gl.ARRAY_BUFFER, points, gl.DYNAMIC_DRAW);
    gl.bindBuffer(gl.ARRAY_BUFFER, this.colourBuffer);
    gl.bufferData(gl.ARRAY_BUFFER, colours, gl.DYNAMIC_DRAW);
    this.count = count;
    this.draw();
  }

  draw() {
    if (!this.gl) return;
    const gl = this.gl;
    gl.viewport(0, 0, this.canvas.width, this.canvas.height);
    gl.clearColor(0.05, 0.05, 0.07, 1);
    gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    if (this.count === 0) return;
    gl.enable(gl.DEPTH_TEST);
    gl.useProgram(this.program);
    // Bring the point 2 m in front of the camera to the origin, turn about
    // it, then step back by the viewing distance.
    const view = multiply(translation(0, 0, -this.distance),
      multiply(rotationX(this.pitch), multiply(rotationY(this.yaw), translation(0, 0, 2.0))));
    const projection = perspective(Math.PI / 3, this.canvas.width / this.canvas.height, 0.05, 50);
    gl.uniformMatrix4fv(this.transformAt, false, multiply(projection, view));
    gl.bindBuffer(gl.ARRAY_BUFFER, this.positionBuffer);
    gl.enableVertexAttribArray(this.positionAt);
    gl.vertexAttribPointer(this.positionAt, 3, gl.FLOAT, false, 0, 0);
    gl.bindBuffer(gl.ARRAY_BUFFER, this.colourBuffer);
    gl.enableVertexAttribArray(this.colourAt);
    gl.vertexAttribPointer(this.colourAt, 3, gl.FLOAT, false, 0, 0);
    gl.drawArrays(gl.POINTS, 0, this.count);
  }
}
