// A camera by others: the one that the package onvif was tried with at its version 0.6. It is found,
// tells its services, its profiles and its head, and answers every command; its head never moves.
// It knows requests by the very bytes of its own client: what is asked here is put so first.
require('coffeescript/register');
const { Readable } = require('stream');

process.env.HOSTNAME = '127.0.0.1';
const { server } = require('onvif-camera/test/serverMockup');

const [answer] = server.listeners('request');

function asItsOwnClient(text) {
  const [, prefix, operation] = /<\w+:Body[^>]*>\s*<(\w+):(\w+)/.exec(text);
  const [, namespace] = new RegExp(`xmlns:${prefix}="([^"]+)"`).exec(text);
  const schema = 'http://www.w3.org/2001/XMLSchema';
  return `<s:Body xmlns:xsi="${schema}-instance" xmlns:xsd="${schema}">` +
    `<${operation} xmlns="${namespace}"></${operation}></s:Body>`;
}

server.removeAllListeners('request');
server.on('request', (request, response) => {
  const parts = [];
  request.on('data', (part) => parts.push(part));
  request.on('end', () => {
    answer(Readable.from([asItsOwnClient(Buffer.concat(parts).toString())]), response);
  });
});
server.on('listening', () => console.log('listening'));
