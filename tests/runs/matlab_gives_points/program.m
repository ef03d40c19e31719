function trvEMS
filename = 'ems.in'; outputfilename = 'ems.out';
addpath(genpath(pwd));fid=fopen(filename);
ndata=str2double(strtrim(fgetl(fid)));
ninputs=str2double(strtrim(fgetl(fid)));
xmin=readVector(strtrim(fgetl(fid)));
xmax=readVector(strtrim(fgetl(fid)));
snobfitinit=str2double(strtrim(fgetl(fid)));
snobfitfile=strtrim(fgetl(fid));
snobfitres=str2double(strtrim(fgetl(fid)));
snobfitnreq=str2double(strtrim(fgetl(fid)));
snobfitp=str2double(strtrim(fgetl(fid)));
snobfitpath = strtrim(fgetl(fid));
minqpath = strtrim(fgetl(fid));
for i=1:ndata
  temp=readVector(strtrim(fgetl(fid)));
  x(i,:)=temp(1:ninputs);
  obj(i,1)=-temp(ninputs+1);
  obj(i,2)=snobfitres;
end
fclose(fid);
dx = (xmax-xmin)'*snobfitres;
paramSNOBFIT = struct('bounds',{xmin,xmax},'nreq',snobfitnreq,'p',snobfitp);
if snobfitinit == 1
  addpath(genpath(snobfitpath));
  addpath(genpath(minqpath));
  [xReq,~,~] = snobfit(snobfitfile,x,obj,paramSNOBFIT,dx);
else
  [xReq,~,~] = snobfit(snobfitfile,x,obj,paramSNOBFIT);
end
fid=fopen(outputfilename,'w');
fprintf(fid,'%d\n',size(xReq,1));
for i=1:size(xReq,1)
  fprintf(fid,'%f ',xReq(i,1:ninputs-1));
  fprintf(fid,'%f\n',xReq(i,ninputs));
end
fclose(fid);
end
function v=readVector(str)
temp=regexp(str,'[ ]*','split');
v=str2double(temp(:))';
end
